// The life of the facade.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "core/options.h"
#include "core/user_info.h"
#include "foundation/error.h"
#include "foundation/export.h"
#include "foundation/optional_string.h"

namespace quillfold {

enum QFContactServiceState : std::int64_t {
  QFContactServiceStateNotInitialized = 0,
  QFContactServiceStateInitializing = 1,
  QFContactServiceStateReady = 2,
  QFContactServiceStateFailed = 3,
};

// Where the facade stands between its start and a reset, what it was started with, and
// what failed. Any thread; each operation is one step.
class QUILLFOLD_EXPORT ServiceState {
 public:
  ServiceState() : options_(QFQuillfoldOptions::defaultOptions()) {}
  ServiceState(const ServiceState&) = delete;
  ServiceState& operator=(const ServiceState&) = delete;

  // A number of QFContactServiceState.
  std::int64_t number() const;
  bool isReady() const { return number() == QFContactServiceStateReady; }
  std::string description() const;

  // Enters the initializing state. False, and nothing changes, if that is the state.
  bool beginInitialization();
  void becomeReady();
  void fail(ErrorPtr error);
  // The two steps of leaving the ready state, with time between them for what happens in
  // that state still. The first is false if that is not the state. The second forgets the
  // credentials too; false, and nothing changes, if an initialisation has begun since.
  bool beginReset();
  bool completeReset();

  // What the host passed to the initialisation; absent after a reset.
  OptionalString apiKey() const;
  OptionalString token() const;
  QFUserInfoPtr userInfo() const;
  void setCredentials(OptionalString apiKey, OptionalString token, QFUserInfoPtr userInfo);

  // Never null.
  QFQuillfoldOptionsPtr options() const;
  void setOptions(QFQuillfoldOptionsPtr options);
  // The error behind the last failed initialisation; never cleared.
  ErrorPtr lastError() const;

 private:
  template <typename T>
  T read(T ServiceState::*field) const {
    const std::lock_guard lock(mutex_);
    return this->*field;
  }

  // Guards all fields.
  mutable std::mutex mutex_;
  std::int64_t number_ = QFContactServiceStateNotInitialized;
  bool resetting_ = false;
  OptionalString apiKey_;
  OptionalString token_;
  QFUserInfoPtr userInfo_;
  QFQuillfoldOptionsPtr options_;
  ErrorPtr lastError_;
};

}  // namespace quillfold
