#include "api/api_response.h"

namespace quillfold {

QFAPIResponsePtr QFAPIResponse::initWithStatus(OptionalString status, OptionalString message,
                                               std::optional<Value> data) {
  std::shared_ptr<QFAPIResponse> response(new QFAPIResponse);
  response->status_ = std::move(status);
  response->message_ = std::move(message);
  response->data_ = std::move(data);
  return response;
}

}  // namespace quillfold
