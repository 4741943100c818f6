#include "api/api_error.h"

#include "foundation/format.h"

namespace quillfold {

namespace {

ErrorPtr makeError(std::int64_t code, std::string text) {
  return NSError::errorWithDomain(QFAPIErrorDomain, code,
                                  {{NSLocalizedDescriptionKey, std::move(text)}});
}

std::string withMessage(const char* text, const OptionalString& message) {
  return message ? fmt::format("{}: {}", text, *message) : text;
}

}  // namespace

ErrorPtr QFAPIError::errorWithCode(std::int64_t code) {
  return errorWithCode(code, std::nullopt);
}

ErrorPtr QFAPIError::errorWithCode(std::int64_t code, const OptionalString& message) {
  return makeError(code, message
                             ? *message
                             : localizedDescriptionForErrorCode(code, std::nullopt, std::nullopt));
}

ErrorPtr QFAPIError::invalidURLError() {
  return errorWithCode(QFAPIErrorCodeInvalidURL);
}
ErrorPtr QFAPIError::noDataError() {
  return errorWithCode(QFAPIErrorCodeNoData);
}
ErrorPtr QFAPIError::decodingError() {
  return errorWithCode(QFAPIErrorCodeDecoding);
}
ErrorPtr QFAPIError::unauthorizedError() {
  return errorWithCode(QFAPIErrorCodeUnauthorized);
}
ErrorPtr QFAPIError::tokenExpiredError() {
  return errorWithCode(QFAPIErrorCodeTokenExpired);
}
ErrorPtr QFAPIError::unknownError() {
  return errorWithCode(QFAPIErrorCodeUnknown);
}

ErrorPtr QFAPIError::serverErrorWithStatusCode(std::int64_t statusCode,
                                               const std::optional<Value>& message) {
  OptionalString text;
  if (message) text = message->description();
  return NSError::errorWithDomain(
      QFAPIErrorDomain, QFAPIErrorCodeServer,
      {{NSLocalizedDescriptionKey,
        localizedDescriptionForErrorCode(QFAPIErrorCodeServer, statusCode, text)},
       {"statusCode", statusCode},
       {"message", message.value_or("")}});
}

ErrorPtr QFAPIError::networkErrorWithUnderlyingError(const ErrorPtr& underlyingError) {
  return NSError::errorWithDomain(
      QFAPIErrorDomain, QFAPIErrorCodeNetwork,
      {{NSLocalizedDescriptionKey,
        localizedDescriptionForErrorCode(QFAPIErrorCodeNetwork, std::nullopt,
                                         underlyingError->localizedDescription())}},
      underlyingError);
}

std::string QFAPIError::localizedDescriptionForErrorCode(std::int64_t code,
                                                         std::optional<std::int64_t> statusCode,
                                                         const OptionalString& message) {
  switch (code) {
    case QFAPIErrorCodeInvalidURL:
      return "Invalid URL request";
    case QFAPIErrorCodeNoData:
      return "No data received from the server";
    case QFAPIErrorCodeDecoding:
      return "Error decoding the server response";
    case QFAPIErrorCodeServer:
      // A message without a status is not shown.
      if (!statusCode) return "Server error";
      return withMessage(fmt::format("Server error {}", *statusCode).c_str(), message);
    case QFAPIErrorCodeNetwork:
      return withMessage("Network error", message);
    case QFAPIErrorCodeUnauthorized:
      return "Unauthorized request";
    case QFAPIErrorCodeTokenExpired:
      return "Authentication token has expired";
    case QFAPIErrorCodeInvalidResponse:
      return "Invalid response from server";
    case QFAPIErrorCodeInvalidAPIKey:
      return "Invalid API key";
    case QFAPIErrorCodeValidationFailed:
      return withMessage("Validation failed", message);
    default:
      return "An unknown error occurred";
  }
}

}  // namespace quillfold
