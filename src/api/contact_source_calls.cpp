// Registering this device as a contact source.
#include "api/api_client.h"
#include "api/api_config.h"
#include "api/api_error.h"
#include "api/request.h"
#include "api/response.h"
#include "contacts/contacts_authorization.h"
#include "core/defaults_keys.h"
#include "foundation/json.h"
#include "foundation/text.h"
#include "foundation/uuid.h"
#include "platform/log_line.h"
#include "platform/user_defaults.h"

namespace quillfold {

namespace {

// How the permission is called on the wire.
std::string contactAuthorizationStatus() {
  switch (QFContactsAuthorizationService().checkAccessStatus()) {
    case QFContactsAuthorizationStatusNotDetermined:
      return "not_determined";
    case QFContactsAuthorizationStatusAuthorized:
      return "authorized";
    case QFContactsAuthorizationStatusLimited:
      return "limited";
    case QFContactsAuthorizationStatusDenied:
      return "denied";
    case QFContactsAuthorizationStatusRestricted:
      return "restricted";
    default:
      return "unknown";
  }
}

// The one failure that is told by its words: either names the same constraint.
bool saysDuplicate(std::string_view body) {
  if (!text::isValidUTF8(body)) return false;
  return body.find("duplicate key value violates unique constraint") != std::string_view::npos ||
         body.find("contact_sources_organization_id_canonical_contact_id_source_key") !=
             std::string_view::npos;
}

// An object as it is, or parsed from a text that holds one.
std::optional<Dictionary> objectFrom(const Value* value) {
  if (value == nullptr) return std::nullopt;
  if (const auto* object = value->asDictionary()) return *object;
  if (!value->isString()) return std::nullopt;
  const auto parsed = NSJSONSerialization::JSONObjectWithData(*value->asString());
  if (!parsed || !parsed->isDictionary()) return std::nullopt;
  return *parsed->asDictionary();
}

// Seconds since 1970 from a number or a text with fractional seconds.
std::optional<double> dateIn(const Dictionary& payload, const char* key) {
  const Value* value = find(payload, key);
  if (value == nullptr) return std::nullopt;
  if (value->isNumber()) return value->doubleValue();
  if (!value->isString()) return std::nullopt;
  const NSISO8601DateFormatter formatter(
      NSISO8601DateFormatter::kInternetDateTimeWithFractionalSeconds);
  const auto date = formatter.dateFromString(*value->asString());
  return date ? std::optional(date->timeIntervalSince1970()) : std::nullopt;
}

// Keeps the identifier of the source. A server may have sent anything; null has
// no form in the defaults.
void saveSourceId(const JSONField& identifier) {
  if (!identifier.value() || identifier.value()->isNull()) return;
  NSUserDefaults& defaults = NSUserDefaults::standardUserDefaults();
  defaults.setObject(*identifier.value(), defaults_keys::kSourceId);
  defaults.synchronize();
}

}  // namespace

std::string QFAPIClient::stringFromSourceType(std::int64_t sourceType) {
  return QFSourceTypeUtils::stringFromSourceType(sourceType);
}

std::int64_t QFAPIClient::sourceTypeFromString(const OptionalString& name) {
  return QFSourceTypeUtils::sourceTypeFromString(name);
}

void QFAPIClient::createContactSourceWithName(const std::string& name, std::int64_t sourceType,
                                              ContactSourceCompletion completion,
                                              const RequestControl& control) {
  authorizeUpload(
      [self = shared_from_this(), name, sourceType, completion = std::move(completion), control](
          const std::optional<UploadAuthorization>& authorization, const ErrorPtr& error) {
        if (error) return completion(nullptr, error);
        self->postContactSource(name, sourceType, *authorization, completion, control);
      },
      control);
}

Dictionary QFAPIClient::sourceSettings() const {
  // "Unknown" would stand for an absent model or version; neither can be absent.
  return {{"device_info", Dictionary{{"device_id", deviceIdentifier()},
                                     {"device_model", deviceInfo_->deviceModel()},
                                     {"os_version", deviceInfo_->osVersion()},
                                     {"platform", "iOS"}}},
          {"contact_authorization_status", contactAuthorizationStatus()}};
}

void QFAPIClient::postContactSource(const std::string& name, std::int64_t sourceType,
                                    const UploadAuthorization& authorization,
                                    const ContactSourceCompletion& completion,
                                    const RequestControl& control) {
  const auto user = NSUserDefaults::standardUserDefaults().stringForKey(defaults_keys::kUserId);
  if (!user) return completion(nullptr, QFAPIError::errorWithCode(QFAPIErrorCodeDecoding));
  const Dictionary source{{"name", name},
                          {"source_type", stringFromSourceType(sourceType)},
                          {"identifier", fullSourceIdentifier()},
                          {"is_active", true},
                          {"organization_id", authorization.organizationId},
                          {"settings", sourceSettings()}};
  auto request = jsonPost(QFAPIConfig::contactSourceEndpoint(),
                          Dictionary{{"source_data", source}, {"organization_user_id", *user}});
  if (!request) return completion(nullptr, QFAPIError::errorWithCode(QFAPIErrorCodeDecoding));
  addBearer(*request, authorization.token);
  run(
      std::move(*request),
      [this, name, sourceType, organizationId = authorization.organizationId,
       completion](const URLResult& result) {
        readContactSource(result, name, sourceType, organizationId, completion);
      },
      control);
}

void QFAPIClient::readContactSource(const URLResult& result, const std::string& name,
                                    std::int64_t sourceType, const Value& organizationId,
                                    const ContactSourceCompletion& completion) {
  if (const ErrorPtr error = transportFailureOf(result)) return failOnMain(completion, error);
  logLine("Server response: {}", loggedText(result.body));
  if (result.response->statusCode == 500 && saysDuplicate(result.body.bytes())) {
    NSLog("Contact source appears to already exist");
    // Calls back right here, on the session's thread.
    return getExistingContactSourceWithSourceType(sourceType, completion);
  }
  ErrorPtr error;
  const auto data = readPayload(result, error);
  if (!data) return failOnMain(completion, error);
  const Dictionary payload = data->isDictionary() ? *data->asDictionary() : Dictionary();
  const QFContactSourcePtr source =
      createContactSourceFromDictionary(payload, name, sourceType, organizationId);
  saveSourceId(source->identifier());
  logLine("✅ Saved source ID to UserDefaults: {}", source->identifier().description());
  completeOnMain(completion, source);
}

void QFAPIClient::getExistingContactSourceWithSourceType(std::int64_t sourceType,
                                                         ContactSourceCompletion completion) {
  // The link alone is tested; the service is not used.
  if (!contactService()) {
    NSLog("❌ CRITICAL ERROR: ContactService not connected to APIClient");
    return completion(nullptr, QFAPIError::serverErrorWithStatusCode(
                                   500, "ContactService not connected to APIClient"));
  }
  NSUserDefaults& defaults = NSUserDefaults::standardUserDefaults();
  const auto organizationId = defaults.stringForKey(defaults_keys::kOrganizationId);
  auto saved = defaults.stringForKey(defaults_keys::kSourceId);
  const std::string identifier = saved ? *saved : NSUUID::UUIDString();
  if (saved) {
    logLine("Found saved source ID: {}", identifier);
  } else {
    saveSourceId(identifier);
  }
  auto source = QFContactSource::initWithId(identifier, "Device Contacts", sourceType,
                                            organizationId.value_or(""), userId());
  source->setSourceIdentifier(identifier);
  source->setIsActive(true);
  if (saved) {
    logLine("✅ Using existing saved source ID: {}", identifier);
  } else {
    logLine("✅ Created and saved new source ID: {}", identifier);
  }
  completion(source, nullptr);
}

QFContactSourcePtr QFAPIClient::createContactSourceFromDictionary(
    const Dictionary& payload, const std::string& name, std::int64_t sourceType,
    const Value& organizationId) const {
  const auto entryOr = [&payload](const char* key, const Value& fallback) {
    const Value* value = find(payload, key);
    return JSONField(value != nullptr ? *value : fallback);
  };
  const std::int64_t serverType = sourceTypeFromString(stringForKey(payload, "source_type"));
  // The server's "google" is number 0 and counts as none.
  auto source = QFContactSource::initWithId(
      entryOr("id", NSUUID::UUIDString()), entryOr("name", name),
      serverType != 0 ? serverType : sourceType, entryOr("organization_id", organizationId),
      entryOr("canonical_contact_id", userId()));
  const Value* isActive = find(payload, "is_active");
  source->setIsActive(isActive != nullptr && isActive->boolValue());
  source->setSourceIdentifier(entryOr("identifier", fullSourceIdentifier()));
  parseAndSetDatesFromDictionary(payload, *source);
  Dictionary metadata = objectFrom(find(payload, "source_metadata")).value_or(Dictionary());
  metadata["device_id"] = deviceIdentifier();
  source->setSourceMetadata(metadata);
  const auto settings = objectFrom(find(payload, "settings"));
  source->setSettings(settings ? *settings : sourceSettings());
  return source;
}

void QFAPIClient::parseAndSetDatesFromDictionary(const Dictionary& payload,
                                                 QFContactSource& source) {
  if (const auto date = dateIn(payload, "last_sync_at")) source.setLastSyncAt(date);
  if (const auto date = dateIn(payload, "created_at")) source.setCreatedAt(*date);
  if (const auto date = dateIn(payload, "updated_at")) source.setUpdatedAt(*date);
}

}  // namespace quillfold
