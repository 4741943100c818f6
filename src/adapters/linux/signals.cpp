#include "foundation/signals.h"

#include <pthread.h>

#include <csignal>

namespace quillfold {

namespace {

class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_;
};

}  // namespace

void withSignalsBlocked(const std::function<void()>& start) {
  const SignalsBlocked blocked;
  start();
}

}  // namespace quillfold
