#include "api/response.h"

#include "api/api_client.h"
#include "api/api_error.h"
#include "foundation/text.h"

namespace quillfold {

ErrorPtr transportFailureOf(const URLResult& result) {
  return result.error ? QFAPIError::networkErrorWithUnderlyingError(result.error) : nullptr;
}

ErrorPtr failureOf(const URLResult& result) {
  if (ErrorPtr error = transportFailureOf(result)) return error;
  const std::int64_t status = result.response->statusCode;
  if (status < 400) return nullptr;
  return QFAPIClient::handleErrorResponseWithData(result.body.bytes(), status);
}

const Value* entry(const Value& value, const char* key) {
  const Dictionary* dictionary = value.asDictionary();
  return dictionary == nullptr ? nullptr : find(*dictionary, key);
}

std::string loggedText(const Data& body) {
  return text::isValidUTF8(body.bytes()) ? std::string(body.bytes()) : "(null)";
}

}  // namespace quillfold
