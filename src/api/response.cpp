#include "api/response.h"

#include "api/api_client.h"
#include "api/api_error.h"
#include "foundation/json.h"
#include "foundation/text.h"

namespace quillfold {

ErrorPtr transportFailureOf(const URLResult& result) {
  return result.error ? QFAPIError::networkErrorWithUnderlyingError(result.error) : nullptr;
}

ErrorPtr logRefusal(const URLResult& answer) {
  const std::int64_t status = answer.response->statusCode;
  if (status < 400) return nullptr;
  return QFAPIClient::handleErrorResponseWithData(answer.body.bytes(), status);
}

std::optional<Value> readPayload(const URLResult& answer, ErrorPtr& error) {
  error = logRefusal(answer);
  if (error) return std::nullopt;
  const auto value = NSJSONSerialization::JSONObjectWithData(answer.body.bytes());
  const Value* data = value ? entry(*value, "data") : nullptr;
  if (data != nullptr) return *data;
  error = QFAPIError::errorWithCode(value ? QFAPIErrorCodeNoData : QFAPIErrorCodeDecoding);
  return std::nullopt;
}

const Value* entry(const Value& value, const char* key) {
  const Dictionary* dictionary = value.asDictionary();
  return dictionary == nullptr ? nullptr : find(*dictionary, key);
}

std::string loggedText(const Data& body) {
  return text::isValidUTF8(body.bytes()) ? std::string(body.bytes()) : "(null)";
}

}  // namespace quillfold
