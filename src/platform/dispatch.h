// Queues of work.
#pragma once

#include <functional>

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
// after the other, in the order of `async`. The library only uses `async`. A host
// either runs this queue from its main thread with the operations below, or
// installs a queue that hands the work to its own event loop.
class MainQueue : public DispatchQueue {};

// Puts work on the queues of the installed platform.
void dispatchMain(Work work);
// Concurrent work of user-initiated quality of service: store reads, mapping.
void dispatchGlobal(Work work);

}  // namespace quillfold
