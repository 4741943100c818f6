#include "api/contact_source.h"

#include <algorithm>

#include "foundation/json.h"
#include "foundation/text.h"
#include "platform/clock.h"
#include "platform/log_line.h"

namespace quillfold {

namespace {

// In the order of QFSourceType.
constexpr const char* kSourceTypeNames[] = {"google", "outlook", "csv", "api", "device"};

std::optional<Dictionary> parsedObject(const OptionalString& json) {
  if (!json) return std::nullopt;
  const auto value = NSJSONSerialization::JSONObjectWithData(*json);
  if (!value || !value->isDictionary()) return std::nullopt;
  return *value->asDictionary();
}

OptionalString serialized(const std::optional<Dictionary>& dictionary, const char* what) {
  if (!dictionary) return std::nullopt;
  ErrorPtr error;
  auto json = NSJSONSerialization::dataWithJSONObject(*dictionary, &error);
  if (!json) logLine("Error serializing {}: {}", what, error->description());
  return json;
}

// Seconds since 1970 from a number or a date text; absent for anything else.
std::optional<double> seconds(const Value* value) {
  if (value == nullptr) return std::nullopt;
  if (value->isNumber()) return value->doubleValue();
  const std::string* text = value->asString();
  if (text == nullptr || text->empty()) return std::nullopt;
  const auto date = QFContactSource::iso8601Formatter().dateFromString(*text);
  return date ? std::optional(date->timeIntervalSince1970()) : std::nullopt;
}

using TextSetter = void (QFContactSource::*)(OptionalString);
using ViewSetter = void (QFContactSource::*)(const std::optional<Dictionary>&);

// A text is stored unparsed, an object through the view; other types are ignored.
void readJSONField(const Value* value, QFContactSource& source, TextSetter setText,
                   ViewSetter setView) {
  if (value == nullptr) return;
  if (const auto* text = value->asString()) (source.*setText)(*text);
  if (const auto* object = value->asDictionary()) (source.*setView)(*object);
}

JSONField orEmpty(JSONField field) {
  return field.isAbsent() ? JSONField("") : field;
}

}  // namespace

std::string QFSourceTypeUtils::stringFromSourceType(std::int64_t sourceType) {
  const auto index = static_cast<std::uint64_t>(sourceType);
  return index < std::size(kSourceTypeNames) ? kSourceTypeNames[index] : "other";
}

std::int64_t QFSourceTypeUtils::sourceTypeFromString(const OptionalString& name) {
  const std::string lowercase = name ? text::lowercaseString(*name) : std::string();
  const auto it = std::find(std::begin(kSourceTypeNames), std::end(kSourceTypeNames), lowercase);
  return it == std::end(kSourceTypeNames) ? std::int64_t{QFSourceTypeOther}
                                          : it - std::begin(kSourceTypeNames);
}

QFContactSourcePtr QFContactSource::initWithId(JSONField identifier, JSONField name,
                                               std::int64_t sourceType, JSONField organizationId,
                                               JSONField canonicalContactId) {
  QFContactSourcePtr source(new QFContactSource);
  source->identifier_ = std::move(identifier);
  source->name_ = std::move(name);
  source->sourceType_ = QFSourceTypeUtils::stringFromSourceType(sourceType);
  source->organizationId_ = orEmpty(std::move(organizationId));
  source->canonicalContactId_ = orEmpty(std::move(canonicalContactId));
  source->isActive_ = true;
  source->createdAt_ = currentTime();
  source->updatedAt_ = currentTime();
  return source;
}

QFContactSourcePtr QFContactSource::contactSourceFromDictionary(const Dictionary& dictionary) {
  const Value* identifier = find(dictionary, "id");
  const Value* name = find(dictionary, "name");
  const Value* type = find(dictionary, "source_type");
  if (identifier == nullptr || name == nullptr || type == nullptr) return nullptr;
  QFContactSourcePtr source =
      initWithId(*identifier, *name,
                 QFSourceTypeUtils::sourceTypeFromString(stringForKey(dictionary, "source_type")),
                 JSONField(find(dictionary, "organization_id")),
                 JSONField(find(dictionary, "canonical_contact_id")));
  const Value* isActive = find(dictionary, "is_active");
  source->isActive_ = isActive != nullptr && isActive->boolValue();
  source->lastSyncAt_ = seconds(find(dictionary, "last_sync_at"));
  source->syncError_ = JSONField(find(dictionary, "sync_error"));
  readJSONField(find(dictionary, "credentials"), *source, &QFContactSource::setCredentialsJSON,
                &QFContactSource::setCredentials);
  readJSONField(find(dictionary, "settings"), *source, &QFContactSource::setSettingsJSON,
                &QFContactSource::setSettings);
  readJSONField(find(dictionary, "source_metadata"), *source,
                &QFContactSource::setSourceMetadataJSON, &QFContactSource::setSourceMetadata);
  source->createdAt_ = seconds(find(dictionary, "created_at")).value_or(source->createdAt_);
  source->updatedAt_ = seconds(find(dictionary, "updated_at")).value_or(source->updatedAt_);
  return source;
}

Dictionary QFContactSource::toDictionary() const {
  Dictionary out{{"source_type", sourceType_},
                 {"is_active", isActive_},
                 {"created_at", createdAt_},
                 {"updated_at", updatedAt_}};
  setIfPresent(out, "id", identifier_.value());
  setIfPresent(out, "name", name_.value());
  setIfPresent(out, "organization_id", organizationId_.value());
  setIfPresent(out, "canonical_contact_id", canonicalContactId_.value());
  setIfPresent(out, "last_sync_at", lastSyncAt_);
  setIfPresent(out, "sync_error", syncError_.value());
  setIfPresent(out, "credentials", credentialsJSON_);
  setIfPresent(out, "settings", settingsJSON_);
  setIfPresent(out, "source_metadata", sourceMetadataJSON_);
  return out;
}

const NSDateFormatter& QFContactSource::iso8601Formatter() {
  static const auto* formatter = [] {
    auto* made = new NSDateFormatter("yyyy-MM-dd'T'HH:mm:ss.SSS'Z'");
    made->setTimeZone("UTC");
    return made;
  }();
  return *formatter;
}

std::optional<Dictionary> QFContactSource::credentials() const {
  return parsedObject(credentialsJSON_);
}

void QFContactSource::setCredentials(const std::optional<Dictionary>& credentials) {
  credentialsJSON_ = serialized(credentials, "credentials");
}

std::optional<Dictionary> QFContactSource::settings() const {
  return parsedObject(settingsJSON_);
}

void QFContactSource::setSettings(const std::optional<Dictionary>& settings) {
  settingsJSON_ = serialized(settings, "settings");
}

std::optional<Dictionary> QFContactSource::sourceMetadata() const {
  return parsedObject(sourceMetadataJSON_);
}

void QFContactSource::setSourceMetadata(const std::optional<Dictionary>& sourceMetadata) {
  sourceMetadataJSON_ = serialized(sourceMetadata, "source metadata");
}

}  // namespace quillfold
