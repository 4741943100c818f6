#include "account/failure.h"

namespace quillfold {

Failure Failure::fromError(const NSError& error) {
  std::string address;
  std::string deepest;
  for (const NSError* cause = &error; cause != nullptr; cause = cause->underlyingError().get()) {
    if (auto failing = stringForKey(cause->userInfo(), "NSErrorFailingURLStringKey")) {
      address = *std::move(failing);
    }
    if (cause != &error) deepest = cause->localizedDescription();
  }
  const Value* status = find(error.userInfo(), "statusCode");
  return Failure(error.domain(), error.code(), error.localizedDescription(), std::move(address),
                 status != nullptr ? status->integerValue() : 0, std::move(deepest));
}

}  // namespace quillfold
