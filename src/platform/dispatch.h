// Queues of work.
#pragma once

#include <functional>
#include <optional>

#include "foundation/export.h"

namespace quillfold {

using Work = std::function<void()>;

// Runs work later. `async` may be called from any thread and never runs the work
// before it returns.
class QUILLFOLD_EXPORT DispatchQueue {
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
class QUILLFOLD_EXPORT MainQueue : public DispatchQueue {
 public:
  // Whether the calling thread may run the queue's work now, inside a piece of it too; if
  // not, another thread does. Absent: the queue can't be run by waiting for it.
  virtual std::optional<bool> canRunHere() const { return std::nullopt; }
  // Runs work on the calling thread, and waits for more, until the predicate holds, and
  // returns true then. It is asked before the first and after each piece of work. Returns
  // false if the loop has ended before, or another thread has taken it over. Only where
  // canRunHere.
  virtual bool runHereUntil(const std::function<bool()>& predicate) { return predicate(); }
};

// Puts work on the queues of the installed platform.
QUILLFOLD_EXPORT void dispatchMain(Work work);
// Concurrent work of user-initiated quality of service: store reads, mapping.
QUILLFOLD_EXPORT void dispatchGlobal(Work work);

// Whether this thread is the one on which the main queue's work of dispatchMain ran last, or
// while none has run the one that installed the platform.
QUILLFOLD_EXPORT bool isMainQueueThread();

}  // namespace quillfold
