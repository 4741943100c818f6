// The main queue for hosts without an event loop of their own.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>

#include "foundation/export.h"
#include "platform/dispatch.h"

namespace quillfold {

// A serial queue that runs on whichever thread calls `run`, `poll` or `runUntil`,
// and on no other: work that nobody runs waits, in order, and is destroyed unrun
// with the queue.
//
// One thread at a time: while one is inside an operation that runs work, the same
// operations throw std::logic_error on every other thread, after waiting for the end of a
// runHereUntil, which itself returns false. On the running thread a piece of work may call
// them again; the work behind it then runs inside that call.
// `async` and `stop` may be called from any thread at any time.
//
// An exception that leaves a piece of work leaves the operation that ran it. That
// piece is done, the work behind it stays queued, and the queue can be run again.
class QUILLFOLD_EXPORT LinuxMainQueue : public MainQueue {
 public:
  LinuxMainQueue();
  ~LinuxMainQueue() override;
  LinuxMainQueue(const LinuxMainQueue&) = delete;
  LinuxMainQueue& operator=(const LinuxMainQueue&) = delete;

  // Puts the work at the end, never inside the call. Throws std::invalid_argument
  // for an empty function.
  void async(Work work) override;

  // Runs work, and waits for more, until `stop`.
  void run();
  // Makes the innermost `run` return after the piece of work under way; what is
  // still queued stays. Without a `run` under way the next one returns at once, so
  // that a stop that comes early is not lost.
  void stop();

  // Runs what is queued at the time of the call, without waiting for more, and returns how
  // many pieces that were. What these add waits for the next call, so that a host
  // which polls from its own loop always gets back to it.
  std::size_t poll();

  // Runs work, and waits for more, until the predicate holds or the time is over;
  // returns whether it holds. It is asked on the calling thread, before the first
  // and after each piece of work: whoever changes what it looks at on another
  // thread wakes it by `async`. No piece of work starts after the time is over.
  bool runUntil(const std::function<bool()>& predicate, double timeoutSeconds);

  // True on the thread that is inside an operation that runs work and, while none is, on
  // the one that was last and the one that made the queue.
  std::optional<bool> canRunHere() const override;
  bool runHereUntil(const std::function<bool()>& predicate) override;

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace quillfold
