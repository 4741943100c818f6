// Queues of work.
#pragma once

#include <functional>
#include <stdexcept>

namespace quillfold {

using Work = std::function<void()>;

// Runs work later. `async` may be called from any thread and never runs the work
// before it returns.
class DispatchQueue {
 public:
  virtual ~DispatchQueue() = default;
  virtual void async(Work work) = 0;
};

// The serial queue that all callbacks of the library arrive on: work runs one
// after the other, in the order of `async`. A host either runs LinuxMainQueue from
// its main thread, or installs a queue that hands the work to its own event loop.
//
// `async` is all that a queue has to have. With the other two a host may also wait
// on the queue's own thread for what the library does (Operation::get).
class MainQueue : public DispatchQueue {
 public:
  // Whether the calling thread may run the queue's work now, inside a piece of it too.
  virtual bool canRunHere() const { return false; }
  // Runs work on the calling thread, and waits for more, until the predicate holds. It
  // is asked before the first and after each piece of work. Only where canRunHere.
  virtual void runHereUntil(const std::function<bool()>& predicate) {
    static_cast<void>(predicate);
    throw std::logic_error("This main queue can't be run from here");
  }
};

// Puts work on the queues of the installed platform.
void dispatchMain(Work work);
// Concurrent work of user-initiated quality of service: store reads, mapping.
void dispatchGlobal(Work work);

// Whether this thread is the one on which the main queue's work of dispatchMain ran last.
bool isMainQueueThread();

}  // namespace quillfold
