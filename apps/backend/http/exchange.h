// What a request asks and what it is answered, free of any HTTP library.
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace quillfold::backend {

struct HttpRequest {
  std::string method;
  std::string path;                          // Percent-decoded, without the query.
  std::map<std::string, std::string> query;  // The first value of each name.
  std::string authorization;                 // The header's value, "" if absent.
  std::string body;
  bool declaresJson = false;  // The content type is application/json.
  bool tooLarge = false;      // The body passed the limit and was not kept.
};

// How an answer reaches the client.
enum class Delivery {
  kWhole,
  kTruncated,  // The head and half of the body, then the connection closes.
  kDropped,    // The connection closes without a byte.
};

struct HttpAnswer {
  int status = 200;
  std::string body;
  std::string contentType = "application/json";
  std::map<std::string, std::string> headers;
  Delivery delivery = Delivery::kWhole;
  std::chrono::milliseconds delay{0};  // Waited before the first byte.
};

// One line of the request log. Holds no header and no body, so that neither
// tokens nor API keys get into a log.
struct LoggedRequest {
  std::string method;
  std::string path;  // Printable characters only, without the query.
  int status = 0;    // 0 if the answer was dropped.
  std::size_t answerBytes = 0;
  std::chrono::milliseconds duration{0};
};

}  // namespace quillfold::backend
