#include "api/request.h"

#include "api/api_config.h"
#include "foundation/json.h"
#include "foundation/url.h"

namespace quillfold {

NSMutableURLRequest makeRequest(const std::string& endpoint, const std::string& method) {
  NSMutableURLRequest request;
  request.url = url::appendingPathComponent(QFAPIConfig::baseURL(), endpoint);
  request.httpMethod = method;
  return request;
}

NSMutableURLRequest jsonRequest(const std::string& endpoint, const std::string& method) {
  auto request = makeRequest(endpoint, method);
  request.addValue("application/json", "Content-Type");
  return request;
}

std::optional<NSMutableURLRequest> jsonPost(const std::string& endpoint, const Value& body,
                                            ErrorPtr* error) {
  auto json = NSJSONSerialization::dataWithJSONObject(body, error);
  if (!json) return std::nullopt;
  auto request = jsonRequest(endpoint, "POST");
  request.httpBody = Data(std::move(*json));
  return request;
}

void addBearer(NSMutableURLRequest& request, const std::string& token) {
  request.addValue("Bearer " + token, "Authorization");
}

}  // namespace quillfold
