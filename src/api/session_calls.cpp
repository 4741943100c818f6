// Key validation, health and the backend's record of the user.
#include "api/api_client.h"
#include "api/api_config.h"
#include "api/api_error.h"
#include "api/request.h"
#include "api/response.h"
#include "foundation/json.h"

namespace quillfold {

namespace {

// The verdict on a key. An entry "valid" passes whatever its value: a rejection is
// an HTTP status, or leaving the entry out.
ErrorPtr refusalOfKey(const std::optional<Value>& result, const ErrorPtr& error) {
  if (error) return error;
  if (!result->isDictionary()) {
    return QFAPIError::errorWithCode(QFAPIErrorCodeInvalidResponse, "Invalid response format");
  }
  if (entry(*result, "valid") != nullptr) return nullptr;
  const Value* message = entry(*result, "message");
  return QFAPIError::errorWithCode(
      QFAPIErrorCodeValidationFailed,
      message != nullptr ? message->description() : "API key validation failed");
}

void readUserInfo(const URLResult& result, const QFAPIClient::DictionaryCompletion& completion) {
  if (const ErrorPtr error = transportFailureOf(result)) return failOnMain(completion, error);
  if (const ErrorPtr error = logRefusal(result)) return failOnMain(completion, error);
  auto user = NSJSONSerialization::JSONObjectWithData(result.body.bytes());
  if (!user || !user->isDictionary()) {
    return failOnMain(completion, QFAPIError::errorWithCode(QFAPIErrorCodeDecoding));
  }
  completeOnMain(completion, std::move(*user->asDictionary()));
}

}  // namespace

void QFAPIClient::validateAPIKey(const std::string& key, const OptionalString&,
                                 const QFUserInfoPtr& userInfo,
                                 std::function<void(bool, ErrorPtr)> completion) {
  const auto refuse = [&completion](std::int64_t code, const char* text) {
    if (completion) completion(false, QFAPIError::errorWithCode(code, text));
  };
  if (key.empty()) return refuse(QFAPIErrorCodeInvalidAPIKey, "API key cannot be empty");
  if (!userInfo || !userInfo->isValid()) {
    return refuse(QFAPIErrorCodeUnknown, "Invalid user information");
  }
  Dictionary user{{"userId", userInfo->userId()}};
  setIfPresent(user, "email", userInfo->email());
  setIfPresent(user, "phone", userInfo->phone());
  const Dictionary device{{"device_id", deviceInfo_->deviceId()},
                          {"device_model", deviceInfo_->deviceModel()},
                          {"os_version", deviceInfo_->osVersion()},
                          {"platform", "iOS"}};
  const Dictionary body{{"api_key", key}, {"user_info", user}, {"device_info", device}};
  post(QFAPIConfig::validateAPIKeyEndpoint(), body, {}, true,
       [completion = std::move(completion)](const std::optional<Value>& result,
                                            const ErrorPtr& error) {
         const ErrorPtr refusal = refusalOfKey(result, error);
         if (completion) completion(refusal == nullptr, refusal);
       });
}

void QFAPIClient::checkHealthWithCompletion(std::function<void(bool)> completion) {
  get(QFAPIConfig::healthEndpoint(), {}, false,
      [completion = std::move(completion)](const std::optional<Value>& result, const ErrorPtr&) {
        const Value* status = result ? entry(*result, "status") : nullptr;
        if (completion) completion(status != nullptr && *status == Value("success"));
      });
}

void QFAPIClient::getUserInfoWithCompletionHandler(DictionaryCompletion completion,
                                                   const RequestControl& control) {
  refreshTokenWithCompletionHandler(
      [self = shared_from_this(), completion = std::move(completion), control](
          const OptionalString& token, const ErrorPtr& error) {
        if (error) return completion(std::nullopt, error);
        // The one request without a "Content-Type" header.
        auto request = makeRequest(QFAPIConfig::userInfoEndpoint(), "GET");
        addBearer(request, *token);
        self->run(
            std::move(request),
            [completion](const URLResult& result) { readUserInfo(result, completion); }, control);
      },
      control);
}

}  // namespace quillfold
