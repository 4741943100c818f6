// The general HTTP and JSON road of the client, its social twin, and cancelling.
// The token, user-info and upload calls differ from it in ways that matter and
// don't go through here.
#include <mutex>

#include "api/api_client.h"
#include "api/api_error.h"
#include "api/request.h"
#include "api/response.h"
#include "foundation/json.h"
#include "foundation/text.h"
#include "foundation/url.h"
#include "platform/log_line.h"

namespace quillfold {

namespace {

// Ends a task when it is asked to, also before there is one.
class TaskStopper {
 public:
  explicit TaskStopper(const std::stop_token& stop) : callback_(stop, [this] { end(); }) {}

  void setTask(const std::shared_ptr<NSURLSessionTask>& task) {
    {
      const std::lock_guard lock(mutex_);
      task_ = task;
      if (!stopped_) return;
    }
    task->cancel();
  }

 private:
  void end() {
    std::unique_lock lock(mutex_);
    stopped_ = true;
    const auto task = task_.lock();
    lock.unlock();
    if (task) task->cancel();
  }

  std::mutex mutex_;
  bool stopped_ = false;
  std::weak_ptr<NSURLSessionTask> task_;
  // The last: it may call at once.
  std::stop_callback<std::function<void()>> callback_;
};

constexpr std::size_t kPreviewCharacters = 500;

void logPreview(const std::string& method, const std::string& endpoint, const Data& body) {
  if (!NSLogEnabled() || !text::isValidUTF8(body.bytes())) return;
  const bool cut = text::length(body.bytes()) > kPreviewCharacters;
  logLine("[{}] {} response preview: {}{}", method, endpoint,
          text::prefix(body.bytes(), kPreviewCharacters), cut ? "..." : "");
}

// The payload of an envelope, or the whole value where it is none. What "status"
// says is not looked at.
Value openEnvelope(Value value) {
  if (entry(value, "data") == nullptr || entry(value, "status") == nullptr) return value;
  return std::move(value.asDictionary()->at("data"));
}

void readResponse(const URLResult& result, const std::string& method, const std::string& endpoint,
                  const QFAPIClient::RequestCompletion& completion) {
  if (const ErrorPtr error = transportFailureOf(result)) {
    logLine("[{}] {} network error: {}", method, endpoint, result.error->localizedDescription());
    return failOnMain(completion, error);
  }
  logLine("[{}] {} response status: {}", method, endpoint, result.response->statusCode);
  logPreview(method, endpoint, result.body);
  if (const ErrorPtr error = logRefusal(result)) return failOnMain(completion, error);
  ErrorPtr parseError;
  auto value = NSJSONSerialization::JSONObjectWithData(result.body.bytes(), &parseError);
  if (!value && !result.body.empty()) {
    // An answer that is no JSON is handed over as it came.
    return completeOnMain(completion, result.body);
  }
  if (!value) {
    logLine("[{}] {} JSON parsing error: {}", method, endpoint, parseError->localizedDescription());
    return failOnMain(completion, QFAPIError::errorWithCode(QFAPIErrorCodeDecoding));
  }
  completeOnMain(completion, openEnvelope(std::move(*value)));
}

void readSocialResponse(const URLResult& result, const std::string& endpoint,
                        const QFAPIClient::RequestCompletion& completion) {
  if (const ErrorPtr error = transportFailureOf(result)) {
    logLine("[SOCIAL] {} network error: {}", endpoint, result.error->localizedDescription());
    return failOnMain(completion, error);
  }
  if (text::isValidUTF8(result.body.bytes())) {
    logLine("[SOCIAL] {} Response: {}", endpoint, result.body.bytes());
  }
  logLine("[SOCIAL] {} response status: {}", endpoint, result.response->statusCode);
  if (const ErrorPtr error = logRefusal(result)) return failOnMain(completion, error);
  ErrorPtr parseError;
  auto value = NSJSONSerialization::JSONObjectWithData(result.body.bytes(), &parseError);
  if (!value) {
    logLine("[SOCIAL] {} JSON parsing error: {}", endpoint, parseError->localizedDescription());
    return failOnMain(completion, QFAPIError::errorWithCode(QFAPIErrorCodeDecoding));
  }
  completeOnMain(completion, std::move(value));
}

NSMutableURLRequest queryRequest(const std::string& endpoint, const std::string& method,
                                 const QFAPIClient::Parameters& parameters) {
  auto request = jsonRequest(endpoint, method);
  request.url = url::appendingQuery(request.url, parameters);
  return request;
}

}  // namespace

void QFAPIClient::run(NSMutableURLRequest request, ResponseHandler handler,
                      const RequestControl& control) {
  std::shared_ptr<TaskStopper> stopper;
  if (control.stop.stop_possible()) stopper = std::make_shared<TaskStopper>(control.stop);
  // The client, and with it the session, lives until the request has ended. The
  // handler holds the caller's completion: it is let go on the main queue, behind
  // the completion, and not wherever the session drops its task.
  const auto task = session()->dataTaskWithRequest(
      std::move(request), [self = shared_from_this(), stopper,
                           handler = std::move(handler)](const URLResult& result) mutable {
        auto once = std::make_shared<ResponseHandler>(std::move(handler));
        (*once)(result);
        dispatchMain([once = std::move(once)] {});
      });
  if (stopper) stopper->setTask(task);
  task->resume();
}

void QFAPIClient::request(const std::string& endpoint, const std::string& method,
                          const std::optional<Value>& body, const Parameters& parameters,
                          bool requiresAuth, RequestCompletion completion) {
  auto request = queryRequest(endpoint, method, parameters);
  if (!requiresAuth) return send(std::move(request), endpoint, body, completion);
  refreshTokenWithCompletionHandler(
      [self = shared_from_this(), request = std::move(request), endpoint, body, completion](
          const OptionalString& token, const ErrorPtr& error) mutable {
        if (error) return completion(std::nullopt, error);
        addBearer(request, *token);
        self->send(std::move(request), endpoint, body, completion);
      });
}

void QFAPIClient::send(NSMutableURLRequest request, const std::string& endpoint,
                       const std::optional<Value>& body, const RequestCompletion& completion) {
  const std::string method = request.httpMethod;
  if (body && (method == "POST" || method == "PUT")) {
    auto json = NSJSONSerialization::dataWithJSONObject(*body);
    if (!json) {
      // On whatever thread got here, without a hop.
      return completion(std::nullopt, QFAPIError::errorWithCode(QFAPIErrorCodeDecoding));
    }
    request.httpBody = Data(std::move(*json));
  }
  logLine("[{}] Starting request to {}", method, endpoint);
  run(std::move(request), [method, endpoint, completion](const URLResult& result) {
    readResponse(result, method, endpoint, completion);
  });
}

void QFAPIClient::get(const std::string& endpoint, const Parameters& parameters, bool requiresAuth,
                      RequestCompletion completion) {
  request(endpoint, "GET", std::nullopt, parameters, requiresAuth, std::move(completion));
}

void QFAPIClient::post(const std::string& endpoint, const std::optional<Value>& body,
                       const Parameters& parameters, bool requiresAuth,
                       RequestCompletion completion) {
  request(endpoint, "POST", body, parameters, requiresAuth, std::move(completion));
}

void QFAPIClient::put(const std::string& endpoint, const std::optional<Value>& body,
                      const Parameters& parameters, bool requiresAuth,
                      RequestCompletion completion) {
  request(endpoint, "PUT", body, parameters, requiresAuth, std::move(completion));
}

void QFAPIClient::delete_(const std::string& endpoint, const Parameters& parameters,
                          bool requiresAuth, RequestCompletion completion) {
  request(endpoint, "DELETE", std::nullopt, parameters, requiresAuth, std::move(completion));
}

void QFAPIClient::getSocialData(const std::string& endpoint, const Parameters& parameters,
                                RequestCompletion completion) {
  refreshTokenWithCompletionHandler(
      [self = shared_from_this(), request = queryRequest(endpoint, "GET", parameters), endpoint,
       completion = std::move(completion)](const OptionalString& token,
                                           const ErrorPtr& error) mutable {
        if (error) return completion(std::nullopt, error);
        addBearer(request, *token);
        self->sendSocial(std::move(request), endpoint, completion);
      });
}

void QFAPIClient::sendSocial(NSMutableURLRequest request, const std::string& endpoint,
                             const RequestCompletion& completion) {
  logLine("[SOCIAL] Starting request to {}", endpoint);
  run(std::move(request), [endpoint, completion](const URLResult& result) {
    readSocialResponse(result, endpoint, completion);
  });
}

void QFAPIClient::cancelAllRequests() {
  // Held until the count is logged.
  session()->getTasksWithCompletionHandler(
      [self = shared_from_this()](const URLSessionTasks& tasks) {
        for (const auto* list : {&tasks.dataTasks, &tasks.uploadTasks, &tasks.downloadTasks}) {
          for (const auto& task : *list)
            task->cancel();
        }
        logLine("Cancelled {} pending API requests",
                tasks.dataTasks.size() + tasks.uploadTasks.size() + tasks.downloadTasks.size());
      });
}

}  // namespace quillfold
