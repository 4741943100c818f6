// Uploading one batch of contacts.
#include "api/api_client.h"
#include "api/api_config.h"
#include "api/api_error.h"
#include "api/request.h"
#include "api/response.h"
#include "core/defaults_keys.h"
#include "foundation/json.h"
#include "foundation/text.h"
#include "platform/log_line.h"
#include "platform/user_defaults.h"

namespace quillfold {

namespace {

constexpr std::size_t kLoggedRequestCharacters = 1000;

// The contacts' forms, with the organization as the server sent it, of whatever type.
Array serverForms(const QFContactList& contacts, const Value& organizationId,
                  const std::string& sourceId) {
  Array forms;
  forms.reserve(contacts.size());
  for (const QFContactPtr& contact : contacts) {
    Dictionary form = contact->toServerContactWithOrganizationId(std::nullopt, sourceId);
    form.emplace("organization_id", organizationId);
    forms.emplace_back(std::move(form));
  }
  return forms;
}

// One line for one fault: place, text and kind, as far as the server names them.
std::string validationLine(const Value& fault) {
  std::string line;
  const auto append = [&line](const std::string& part) {
    if (!line.empty()) line += ": ";
    line += part;
  };
  const Value* location = entry(fault, "loc");
  if (location != nullptr && location->isArray()) {
    for (const Value& step : *location->asArray()) {
      if (&step != location->asArray()->data()) line += '.';
      line += step.description();
    }
  }
  for (const char* key : {"msg", "type"}) {
    if (const Value* part = entry(fault, key)) append(part->description());
  }
  return line;
}

// The server's list of faults as lines of text; absent if the answer has none.
OptionalString validationFaults(const URLResult& result) {
  if (result.response->statusCode != 422) return std::nullopt;
  const auto answer = NSJSONSerialization::JSONObjectWithData(result.body.bytes());
  const Value* detail = answer ? entry(*answer, "detail") : nullptr;
  if (detail == nullptr || !detail->isArray()) return std::nullopt;
  std::string text;
  for (const Value& fault : *detail->asArray()) {
    const std::string line = validationLine(fault);
    if (line.empty()) continue;
    if (!text.empty()) text += '\n';
    text += line;
  }
  return text;
}

// The identifier of the source that the contacts come from; absent, with the error
// set, if there is none and none can be made up.
OptionalString sourceIdForUpload(QFAPIClient& client, ErrorPtr& error) {
  NSUserDefaults& defaults = NSUserDefaults::standardUserDefaults();
  if (auto saved = defaults.stringForKey(defaults_keys::kSourceId)) {
    logLine("Using saved source ID for sync: {}", *saved);
    return saved;
  }
  OptionalString sourceId;
  // Calls back before it returns. The server has never seen what this makes up.
  client.getExistingContactSourceWithSourceType(
      QFSourceTypeDevice, [&](const QFContactSourcePtr& source, const ErrorPtr& failure) {
        error = failure;
        if (source) sourceId = source->identifier().description();
      });
  if (!sourceId) return std::nullopt;
  logLine("Retrieved source ID for sync: {}", *sourceId);
  defaults.setObject(*sourceId, defaults_keys::kSourceId);
  defaults.synchronize();
  return sourceId;
}

void readUpload(const URLResult& result, const QFAPIClient::ProcessedCompletion& completion) {
  if (const ErrorPtr error = transportFailureOf(result)) return failOnMain(completion, error);
  logLine("Server response: {}", loggedText(result.body));
  if (const auto faults = validationFaults(result)) {
    logLine("Validation errors:\n{}", *faults);
    return failOnMain(completion,
                      QFAPIError::serverErrorWithStatusCode(422, "Validation error: " + *faults));
  }
  ErrorPtr error;
  const auto data = readPayload(result, error);
  if (!data) return failOnMain(completion, error);
  const Value* processed = entry(*data, "processed_count");
  if (processed == nullptr) {
    return failOnMain(completion, QFAPIError::errorWithCode(QFAPIErrorCodeDecoding));
  }
  logLine("Successfully synced {} contacts", processed->description());
  completeOnMain(completion, processed->integerValue());
}

}  // namespace

void QFAPIClient::syncContacts(QFContactList contacts, bool skipDuplicates,
                               ProcessedCompletion completionHandler,
                               const RequestControl& control) {
  // Shared: the steps before the upload copy what they hand on.
  auto list = std::make_shared<const QFContactList>(std::move(contacts));
  authorizeUpload(
      [self = shared_from_this(), list = std::move(list), skipDuplicates,
       completion = std::move(completionHandler),
       control](const std::optional<UploadAuthorization>& authorization, const ErrorPtr& refusal) {
        if (refusal) return completion(0, refusal);
        ErrorPtr error;
        const OptionalString sourceId = sourceIdForUpload(*self, error);
        if (!sourceId) return completion(0, error);
        self->processSyncWithOrganizationId(authorization->organizationId, *sourceId, *list,
                                            skipDuplicates, authorization->token, completion,
                                            control);
      },
      control);
}

void QFAPIClient::processSyncWithOrganizationId(const Value& organizationId,
                                                const std::string& sourceId,
                                                const QFContactList& contacts, bool skipDuplicates,
                                                const std::string& token,
                                                ProcessedCompletion completion,
                                                const RequestControl& control) {
  logLine("Preparing to sync {} contacts with source ID: {}", contacts.size(), sourceId);
  Array forms = serverForms(contacts, organizationId, sourceId);
  if (NSLogEnabled()) {
    logLine("Sample contact data: {}", forms.empty() ? "(null)" : forms.front().description());
  }
  // Filled afterwards: a braced list would copy the contacts.
  Dictionary body{{"skip_duplicates", skipDuplicates}};
  body.emplace("contacts", std::move(forms));
  ErrorPtr error;
  auto request = jsonPost(QFAPIConfig::contactsSyncEndpoint(), std::move(body), &error);
  if (!request) {
    logLine("Error serializing request: {}", error->description());
    return completion(0, QFAPIError::errorWithCode(QFAPIErrorCodeDecoding));
  }
  if (NSLogEnabled()) {
    logLine("Syncing contacts with request structure (first 1000 chars): {}",
            text::prefix(request->httpBody->bytes(), kLoggedRequestCharacters));
  }
  addBearer(*request, token);
  // After a stop it is made, but not sent.
  if (control.onUpload && !control.stop.stop_requested())
    control.onUpload(request->httpBody->size());
  run(
      std::move(*request),
      [completion](const URLResult& result) { readUpload(result, completion); }, control);
}

}  // namespace quillfold
