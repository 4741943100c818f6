// The one reading of a failed answer that most requests share.
#include "api/api_client.h"
#include "api/api_error.h"
#include "foundation/json.h"
#include "foundation/text.h"
#include "platform/log_line.h"

namespace quillfold {

namespace {

// The server's own words for the failure, or null. "message" counts whatever its
// type; the others only as strings, so a list of validation faults is passed by.
const Value* serverMessage(const Dictionary& answer) {
  if (const Value* message = find(answer, "message")) return message;
  for (const char* key : {"detail", "message", "error", "error_message", "errorMessage"}) {
    const Value* text = find(answer, key);
    if (text != nullptr && text->isString()) return text;
  }
  return nullptr;
}

ErrorPtr errorFromDictionary(const Dictionary& answer, std::int64_t status) {
  if (const Value* message = serverMessage(answer)) {
    logLine("⚠️ Server error ({}): {}", status, message->description());
    return QFAPIError::serverErrorWithStatusCode(status, *message);
  }
  const std::string text = description(answer);
  logLine("⚠️ Server error ({}) with JSON: {}", status, text);
  return QFAPIError::serverErrorWithStatusCode(status, "Error with data: " + text);
}

ErrorPtr errorFromStatus(std::int64_t status) {
  switch (status) {
    case 408:
      return QFAPIError::serverErrorWithStatusCode(408, "Request timed out");
    // This way round on purpose: 403 is the expired token.
    case 403:
      return QFAPIError::errorWithCode(QFAPIErrorCodeTokenExpired);
    case 401:
      return QFAPIError::errorWithCode(QFAPIErrorCodeUnauthorized);
    default:
      break;
  }
  if (status >= 500 && status <= 599) {
    return QFAPIError::serverErrorWithStatusCode(status, "Server error");
  }
  return QFAPIError::serverErrorWithStatusCode(
      status, fmt::format("Unknown server error (Code: {})", status));
}

}  // namespace

ErrorPtr QFAPIClient::handleErrorResponseWithData(std::string_view body, std::int64_t statusCode) {
  const auto answer = NSJSONSerialization::JSONObjectWithData(body);
  if (answer && answer->isDictionary()) {
    return errorFromDictionary(*answer->asDictionary(), statusCode);
  }
  if (!body.empty() && text::isValidUTF8(body)) {
    logLine("⚠️ Server error ({}): Raw response: {}", statusCode, body);
    return QFAPIError::serverErrorWithStatusCode(statusCode, "Raw response: " + std::string(body));
  }
  return errorFromStatus(statusCode);
}

}  // namespace quillfold
