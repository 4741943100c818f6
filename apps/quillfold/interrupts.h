// Signals, taken on a thread of their own.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <stop_token>

#include "quillfold/quillfold.h"

namespace host {

// The program is to end.
struct Interrupted {};

// The first of the signals that end a program stops what is under way; the second ends it at
// once, with the terminal as it was. SIGUSR1 stands for the application becoming active,
// SIGUSR2 for its entering the background. Those that were ignored at the start, as nohup and
// shells have it, stay ignored.
class Interrupts {
 public:
  // Holds all these signals back, for this thread and those that it starts.
  Interrupts();
  // Takes them from now on, and calls `end` with the exit status, on a thread of its own, when
  // the first is to end the program at once. Once, when the library's platform is in use.
  void start(std::function<void(int status)> end);
  // From now on the first ends it at once, too: what is under way reads, and can't be stopped.
  void endAtOnce() const {
    state_->atOnce = true;
    if (came() && !state_->ends.exchange(true)) throw Interrupted();
  }

  // Stops with the first signal.
  std::stop_token token() const { return state_->stop.get_token(); }
  bool came() const { return token().stop_requested(); }
  // 128 and the number of the signal, as shells have it.
  int exitStatus() const { return 128 + state_->signal; }
  // Readable once a signal has come, for those who poll.
  int descriptor() const { return state_->descriptor; }

 private:
  struct State {
    std::stop_source stop;
    std::atomic<int> signal = 0;
    std::atomic<bool> atOnce = false;
    // Whether somebody has begun to end the program because of the first one.
    std::atomic<bool> ends = false;
    int descriptor = -1;
  };
  static void take(const std::shared_ptr<State>& state, const std::function<void(int status)>& end);

  const std::shared_ptr<State> state_;
};

}  // namespace host
