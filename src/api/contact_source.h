// Where a set of contacts comes from, as the backend sees it.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/date_formatter.h"
#include "foundation/error.h"
#include "foundation/export.h"
#include "foundation/json_field.h"
#include "foundation/optional_string.h"
#include "foundation/property.h"
#include "foundation/value.h"
#include "platform/log.h"

namespace quillfold {

class BGProcessingTask;
class QFAPIClient;
class QFContact;

// The deferred task of the system that runs a sync.
inline constexpr const char* QFContactSyncTaskIdentifier = "com.quillfold.contact-sync";
// The least seconds from asking for it to its launch.
inline constexpr double QFContactSyncTaskDelay = 900;

enum QFSourceType : std::int64_t {
  QFSourceTypeGoogle = 0,
  QFSourceTypeOutlook = 1,
  QFSourceTypeCSV = 2,
  QFSourceTypeAPI = 3,
  QFSourceTypeDevice = 4,
  QFSourceTypeOther = 5,
};

class QUILLFOLD_EXPORT QFSourceTypeUtils {
 public:
  // The wire name; "other" for an unknown number.
  static std::string stringFromSourceType(std::int64_t sourceType);
  // Without regard to case; QFSourceTypeOther for an unknown or absent name.
  static std::int64_t sourceTypeFromString(const OptionalString& name);
};

// One contact source. A plain record without locks. What the server sent under
// the identifier, the name and the two further identifiers is kept as it stands.
class QUILLFOLD_EXPORT QFContactSource : public std::enable_shared_from_this<QFContactSource> {
 public:
  QFContactSource& operator=(const QFContactSource&) = delete;

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

  // --- The deferred task ----------------------------------------------------
  //
  // A sync driver of its own, for a host that wants the system to run a sync
  // later: setupSyncWithUserId, then registerBackgroundTasks, then
  // scheduleBackgroundSync for each run. It differs from the sync of the facade on
  // purpose: it has its own client and guard, stamps contacts with this source's
  // identifier, and records all contacts at its end or none. It runs on the main
  // queue, where completions come too, but for failures that are known at once:
  // those come inside the call. Outcomes go to the leveled log. Once registered,
  // the source lives as long as the process.

  using DeferredContacts = std::vector<std::shared_ptr<QFContact>>;
  // With both a count and an error the result is partial.
  using DeferredCompletion = std::function<void(std::int64_t count, ErrorPtr error)>;

  // Stores the user and the batch size, at most 50, and makes the client.
  void setupSyncWithUserId(std::string userId, std::int64_t batchSize);
  // Registers the task QFContactSyncTaskIdentifier with the scheduler, once.
  void registerBackgroundTasks();
  // Asks for one run, in QFContactSyncTaskDelay at the earliest, with a network.
  void scheduleBackgroundSync();
  // What a launch runs.
  void handleBackgroundSyncTask(const std::shared_ptr<BGProcessingTask>& task);
  // The run itself. The completion is required. Fails with QFSyncErrorDomain 0
  // while it runs already, QFContactSourceErrorDomain 1 without an identifier,
  // QFErrorDomain 1005 before setupSyncWithUserId, QFSyncErrorDomain 1 for a
  // negative batch size, and the errors of reading and uploading. A batch size of 0
  // uploads empty batches without an end.
  void syncContactsWithCompletion(DeferredCompletion completion);
  // Uploads one batch, then the next. The completion is required. Fails as the run does,
  // and with QFSyncErrorDomain 1 for a negative index too.
  void syncContactBatch(DeferredContacts contacts, std::int64_t currentBatchIndex,
                        std::int64_t processedCount, DeferredCompletion completion);
  // Clears the guard; the run goes on to its end.
  void cancelSync();

  bool isRunning() const { return running_; }
  void setRunning(bool running) { running_ = running; }
  bool backgroundTaskRegistered() const { return backgroundTaskRegistered_; }
  void setBackgroundTaskRegistered(bool registered) { backgroundTaskRegistered_ = registered; }
  QUILLFOLD_PROPERTY(OptionalString, userId, setUserId);
  QUILLFOLD_PROPERTY(std::int64_t, batchSize, setBatchSize);
  QUILLFOLD_PROPERTY(OSLogPtr, logger, setLogger);
  QUILLFOLD_PROPERTY(std::shared_ptr<QFAPIClient>, apiClient, setApiClient);

 private:
  QFContactSource() = default;

  void explainSchedulingFailure(const std::string& description);
  void uploadChanged(const std::optional<DeferredContacts>& contacts, const ErrorPtr& error,
                     const DeferredCompletion& completion);
  void finishRun(const DeferredContacts& contacts, std::int64_t count, const ErrorPtr& error,
                 const DeferredCompletion& completion);

  std::atomic<bool> running_ = false;
  std::atomic<bool> backgroundTaskRegistered_ = false;
};

using QFContactSourcePtr = std::shared_ptr<QFContactSource>;

}  // namespace quillfold
