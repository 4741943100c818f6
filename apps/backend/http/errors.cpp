#include "apps/backend/http/errors.h"

namespace quillfold::backend {

HttpError::HttpError(int status, const std::string& message,
                     std::map<std::string, std::string> headers)
    : HttpError(message, document(status, {{"status", "error"}, {"message", message}})) {
  answer_.headers = std::move(headers);
}

InvalidRequest::InvalidRequest(const nlohmann::json& detail)
    : HttpError("invalid request", document(422, {{"detail", detail}})) {}

HttpAnswer success(const nlohmann::json& data) {
  return document(200, {{"status", "success"}, {"data", data}});
}

HttpAnswer document(int status, const nlohmann::json& body) {
  HttpAnswer answer;
  answer.status = status;
  // Keys that a client sent come back in refusals, whatever bytes they hold.
  answer.body = body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  return answer;
}

}  // namespace quillfold::backend
