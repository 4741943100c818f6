// Errors of the library itself, as opposed to those of talking to the backend.
#pragma once

#include <cstdint>

#include "foundation/error.h"
#include "foundation/export.h"
#include "foundation/optional_string.h"

namespace quillfold {

inline constexpr const char* QFErrorDomain = "com.quillfold";

enum QFErrorCode : std::int64_t {
  QFErrorCodeInitializationInProgress = 1003,
  QFErrorCodeFetchFailed = 1004,
  QFErrorCodeNotInitialized = 1005,
  QFErrorCodeAccessDenied = 1006,
  QFErrorCodeInvalidUserInfo = 1008,
  QFErrorCodeNoUserId = 1010,
};

// Makes errors in QFErrorDomain. Any code is accepted. Without a message the
// error has no text of its own, without an underlying error none is attached.
class QUILLFOLD_EXPORT QFError {
 public:
  static ErrorPtr errorWithCode(std::int64_t code, OptionalString message,
                                ErrorPtr underlyingError);
  static ErrorPtr errorWithCode(std::int64_t code, OptionalString message);
};

}  // namespace quillfold
