// HTTP requests.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "foundation/error.h"
#include "foundation/export.h"
#include "foundation/value.h"

namespace quillfold {

inline constexpr const char* NSURLErrorDomain = "NSURLErrorDomain";
// Codes of NSURLErrorDomain that a session reports.
enum NSURLErrorCode : std::int64_t {
  NSURLErrorUnknown = -1,
  NSURLErrorCancelled = -999,
  NSURLErrorBadURL = -1000,
  NSURLErrorTimedOut = -1001,
  NSURLErrorUnsupportedURL = -1002,
  NSURLErrorCannotFindHost = -1003,
  NSURLErrorCannotConnectToHost = -1004,
  NSURLErrorNetworkConnectionLost = -1005,
  NSURLErrorHTTPTooManyRedirects = -1007,
  NSURLErrorBadServerResponse = -1011,
  NSURLErrorCannotParseResponse = -1017,
  NSURLErrorDataLengthExceedsMaximum = -1103,
  NSURLErrorSecureConnectionFailed = -1200,
  NSURLErrorServerCertificateUntrusted = -1202,
};

struct NSMutableURLRequest {
  std::string url;
  std::string httpMethod = "GET";
  std::vector<std::pair<std::string, std::string>> headers;
  std::optional<Data> httpBody;

  void addValue(std::string value, std::string field) {
    headers.emplace_back(std::move(field), std::move(value));
  }
};

struct NSHTTPURLResponse {
  std::int64_t statusCode = 0;
};

// The end of one task: a response with its body (possibly empty), or an error.
struct URLResult {
  Data body;
  std::optional<NSHTTPURLResponse> response;
  ErrorPtr error;
};

// One request. Created suspended.
class QUILLFOLD_EXPORT NSURLSessionTask {
 public:
  virtual ~NSURLSessionTask() = default;
  // Starts the request. A second call has no effect.
  virtual void resume() = 0;
  // Ends the task with NSURLErrorCancelled. No effect on a task that has ended.
  // A task that was never resumed ends too.
  virtual void cancel() = 0;
};

using URLCompletion = std::function<void(URLResult)>;

struct URLSessionTasks {
  std::vector<std::shared_ptr<NSURLSessionTask>> dataTasks;
  std::vector<std::shared_ptr<NSURLSessionTask>> uploadTasks;
  std::vector<std::shared_ptr<NSURLSessionTask>> downloadTasks;
};

struct NSURLSessionConfiguration {
  // Seconds without a byte from the server after which a task ends.
  double timeoutIntervalForRequest = 60;
  // Seconds after its start at which a task ends in any case.
  double timeoutIntervalForResource = 7 * 24 * 3600.0;

  static NSURLSessionConfiguration defaultSessionConfiguration() { return {}; }
};

// Runs requests, any number at once, and calls back on one thread of its own,
// one completion at a time. Each resumed or cancelled task completes exactly
// once, never inside the call that started or cancelled it. Letting go of a task
// does not cancel it; letting go of the session cancels its tasks, whose
// completions then still run. Safe to use from any thread.
//
// A session bounds what it takes of an answer: one that is larger ends its task with
// NSURLErrorDataLengthExceedsMaximum (64 MiB for that of libcurl, see CurlOptions).
class QUILLFOLD_EXPORT NSURLSession {
 public:
  virtual ~NSURLSession() = default;

  // A session of the installed platform.
  static std::shared_ptr<NSURLSession> sessionWithConfiguration(
      const NSURLSessionConfiguration& configuration);

  virtual std::shared_ptr<NSURLSessionTask> dataTaskWithRequest(NSMutableURLRequest request,
                                                                URLCompletion completion) = 0;
  // Calls back, on the session's thread, with the tasks that have not ended.
  virtual void getTasksWithCompletionHandler(std::function<void(URLSessionTasks)> handler) = 0;
};

// Makes sessions; part of the installed platform.
class QUILLFOLD_EXPORT URLSessionFactory {
 public:
  virtual ~URLSessionFactory() = default;
  virtual std::shared_ptr<NSURLSession> sessionWithConfiguration(
      const NSURLSessionConfiguration& configuration) = 0;
};

}  // namespace quillfold
