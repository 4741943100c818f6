// Refusals: thrown by whoever finds the fault, answered by the router.
#pragma once

#include <nlohmann/json.hpp>

#include <map>
#include <stdexcept>
#include <string>

#include "apps/backend/http/exchange.h"

namespace quillfold::backend {

// An answer other than success. The body is {"status":"error","message":…}.
class HttpError : public std::runtime_error {
 public:
  HttpError(int status, const std::string& message,
            std::map<std::string, std::string> headers = {});
  const HttpAnswer& answer() const { return answer_; }

 protected:
  HttpError(const std::string& message, HttpAnswer answer)
      : std::runtime_error(message), answer_(std::move(answer)) {}

 private:
  HttpAnswer answer_;
};

// Status 422, for a body or a query. The body is {"detail":[{"loc":[…],"msg":…,"type":…},…]}.
class InvalidRequest : public HttpError {
 public:
  explicit InvalidRequest(const nlohmann::json& detail);
};

// 200 with {"status":"success","data":…}.
HttpAnswer success(const nlohmann::json& data);
// An answer that is exactly this document.
HttpAnswer document(int status, const nlohmann::json& body);

}  // namespace quillfold::backend
