#include "api/token_response.h"

namespace quillfold {

QFTokenResponsePtr QFTokenResponse::initWithToken(std::string token, std::int64_t expiresAt) {
  std::shared_ptr<QFTokenResponse> response(new QFTokenResponse);
  response->token_ = std::move(token);
  response->expiresAt_ = expiresAt;
  return response;
}

}  // namespace quillfold
