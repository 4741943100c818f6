#include "account/failure.h"

namespace quillfold {

Failure Failure::fromError(const NSError& error) {
  std::string address;
  for (const NSError* cause = &error; cause != nullptr; cause = cause->underlyingError().get()) {
    if (auto failing = stringForKey(cause->userInfo(), "NSErrorFailingURLStringKey")) {
      address = *std::move(failing);
    }
  }
  Failure failure(error.domain(), error.code(), error.localizedDescription(), std::move(address));
  const Value* status = find(error.userInfo(), "statusCode");
  if (status != nullptr) failure.statusCode_ = status->integerValue();
  return failure;
}

}  // namespace quillfold
