// Where a set of contacts comes from, as the backend sees it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "model/optional_string.h"
#include "model/property.h"
#include "platform/date_formatter.h"
#include "platform/json_field.h"
#include "platform/value.h"

namespace quillfold {

enum QFSourceType : std::int64_t {
  QFSourceTypeGoogle = 0,
  QFSourceTypeOutlook = 1,
  QFSourceTypeCSV = 2,
  QFSourceTypeAPI = 3,
  QFSourceTypeDevice = 4,
  QFSourceTypeOther = 5,
};

class QFSourceTypeUtils {
 public:
  // The wire name; "other" for an unknown number.
  static std::string stringFromSourceType(std::int64_t sourceType);
  // Without regard to case; QFSourceTypeOther for an unknown or absent name.
  static std::int64_t sourceTypeFromString(const OptionalString& name);
};

// One contact source. A plain record without locks. What the server sent under
// the identifier, the name and the two further identifiers is kept as it stands.
class QFContactSource {
 public:
  // An active source, created and updated now. An absent organization or
  // canonical contact becomes "".
  static std::shared_ptr<QFContactSource> initWithId(JSONField identifier, JSONField name,
                                                     std::int64_t sourceType,
                                                     JSONField organizationId,
                                                     JSONField canonicalContactId);

  // A source from its dictionary form; null where "id", "name" or "source_type"
  // is missing. Dates may be numbers or texts, the JSON texts may be objects.
  static std::shared_ptr<QFContactSource> contactSourceFromDictionary(const Dictionary& dictionary);
  // The dictionary form: dates as numbers, JSON texts as texts. `sourceIdentifier`
  // is not part of it.
  Dictionary toDictionary() const;

  // Reads dates such as 2024-03-05T07:08:09.123Z, and no others.
  static const NSDateFormatter& iso8601Formatter();

  // The same as `identifier`.
  const JSONField& sourceId() const { return identifier_; }

  // The JSON texts as dictionaries, parsed at each read; absent where the text is
  // absent or no object. Setting absent clears the text.
  std::optional<Dictionary> credentials() const;
  void setCredentials(const std::optional<Dictionary>& credentials);
  std::optional<Dictionary> settings() const;
  void setSettings(const std::optional<Dictionary>& settings);
  std::optional<Dictionary> sourceMetadata() const;
  void setSourceMetadata(const std::optional<Dictionary>& sourceMetadata);

  QUILLFOLD_PROPERTY(bool, isActive, setIsActive);
  QUILLFOLD_READONLY_PROPERTY(JSONField, identifier);
  QUILLFOLD_PROPERTY(JSONField, sourceIdentifier, setSourceIdentifier);
  QUILLFOLD_PROPERTY(JSONField, name, setName);
  // The wire name of the kind.
  QUILLFOLD_PROPERTY(std::string, sourceType, setSourceType);
  QUILLFOLD_PROPERTY(JSONField, organizationId, setOrganizationId);
  QUILLFOLD_PROPERTY(JSONField, canonicalContactId, setCanonicalContactId);
  // Seconds since 1970, as are the two times below.
  QUILLFOLD_PROPERTY(std::optional<double>, lastSyncAt, setLastSyncAt);
  QUILLFOLD_PROPERTY(JSONField, syncError, setSyncError);
  QUILLFOLD_PROPERTY(double, createdAt, setCreatedAt);
  QUILLFOLD_PROPERTY(double, updatedAt, setUpdatedAt);
  QUILLFOLD_PROPERTY(OptionalString, credentialsJSON, setCredentialsJSON);
  QUILLFOLD_PROPERTY(OptionalString, settingsJSON, setSettingsJSON);
  QUILLFOLD_PROPERTY(OptionalString, sourceMetadataJSON, setSourceMetadataJSON);

 private:
  QFContactSource() = default;
};

using QFContactSourcePtr = std::shared_ptr<QFContactSource>;

}  // namespace quillfold
