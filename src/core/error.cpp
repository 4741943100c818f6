#include "core/error.h"

namespace quillfold {

ErrorPtr QFError::errorWithCode(std::int64_t code, OptionalString message,
                                ErrorPtr underlyingError) {
  Dictionary userInfo;
  setIfPresent(userInfo, NSLocalizedDescriptionKey, message);
  return NSError::errorWithDomain(QFErrorDomain, code, std::move(userInfo),
                                  std::move(underlyingError));
}

ErrorPtr QFError::errorWithCode(std::int64_t code, OptionalString message) {
  return errorWithCode(code, std::move(message), nullptr);
}

}  // namespace quillfold
