#include "core/service_state.h"

#include <utility>

namespace quillfold {

std::int64_t ServiceState::number() const {
  return read(&ServiceState::number_);
}

std::string ServiceState::description() const {
  const std::lock_guard lock(mutex_);
  switch (number_) {
    case QFContactServiceStateInitializing:
      return "Initializing";
    case QFContactServiceStateReady:
      return "Ready";
    case QFContactServiceStateFailed:
      return "Failed: " + (lastError_ ? lastError_->localizedDescription() : std::string());
    default:
      return "Not initialized";
  }
}

bool ServiceState::beginInitialization() {
  const std::lock_guard lock(mutex_);
  if (number_ == QFContactServiceStateInitializing) return false;
  number_ = QFContactServiceStateInitializing;
  resetting_ = false;
  return true;
}

void ServiceState::becomeReady() {
  const std::lock_guard lock(mutex_);
  number_ = QFContactServiceStateReady;
}

void ServiceState::fail(ErrorPtr error) {
  const std::lock_guard lock(mutex_);
  number_ = QFContactServiceStateFailed;
  lastError_ = std::move(error);
}

bool ServiceState::beginReset() {
  const std::lock_guard lock(mutex_);
  resetting_ = number_ == QFContactServiceStateReady;
  return resetting_;
}

bool ServiceState::completeReset() {
  const std::lock_guard lock(mutex_);
  if (!std::exchange(resetting_, false)) return false;
  apiKey_.reset();
  token_.reset();
  userInfo_.reset();
  number_ = QFContactServiceStateNotInitialized;
  return true;
}

OptionalString ServiceState::apiKey() const {
  return read(&ServiceState::apiKey_);
}

OptionalString ServiceState::token() const {
  return read(&ServiceState::token_);
}

QFUserInfoPtr ServiceState::userInfo() const {
  return read(&ServiceState::userInfo_);
}

void ServiceState::setCredentials(OptionalString apiKey, OptionalString token,
                                  QFUserInfoPtr userInfo) {
  const std::lock_guard lock(mutex_);
  apiKey_ = std::move(apiKey);
  token_ = std::move(token);
  userInfo_ = std::move(userInfo);
}

QFQuillfoldOptionsPtr ServiceState::options() const {
  return read(&ServiceState::options_);
}

void ServiceState::setOptions(QFQuillfoldOptionsPtr options) {
  const std::lock_guard lock(mutex_);
  options_ = std::move(options);
}

ErrorPtr ServiceState::lastError() const {
  return read(&ServiceState::lastError_);
}

}  // namespace quillfold
