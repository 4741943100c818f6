// The answer of the token endpoint, as a record.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "foundation/export.h"
#include "foundation/property.h"

namespace quillfold {

// A bearer token and its end. For hosts that fetch tokens themselves: the client
// reads its own without making one of these. Immutable.
class QUILLFOLD_EXPORT QFTokenResponse {
 public:
  static std::shared_ptr<const QFTokenResponse> initWithToken(std::string token,
                                                              std::int64_t expiresAt);

  QUILLFOLD_READONLY_PROPERTY(std::string, token);
  // Seconds since 1970.
  QUILLFOLD_READONLY_PROPERTY(std::int64_t, expiresAt);

 private:
  QFTokenResponse() = default;
};

using QFTokenResponsePtr = std::shared_ptr<const QFTokenResponse>;

}  // namespace quillfold
