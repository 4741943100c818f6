// Threads that leave the host's signals alone.
#pragma once

#include <pthread.h>

#include <csignal>

namespace quillfold {

// Blocks all signals on this thread as long as it lives: a thread that is started
// meanwhile never takes one.
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

}  // namespace quillfold
