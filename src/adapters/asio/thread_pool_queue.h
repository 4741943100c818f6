// The global queue.
#pragma once

#include <memory>

#include "platform/dispatch.h"

namespace quillfold {

// Concurrent work on one thread for each processor, at least two, which start
// with the first `async` and take no signals from the host. An exception that
// leaves a piece of work ends the process, as one that leaves a thread does.
// Letting go of the queue waits for all its work; a queue that lives to the end
// of the process never waits, and its threads end with the process. Where its own
// work lets go of it, the rest of the work goes on without anybody waiting.
std::shared_ptr<DispatchQueue> makeThreadPoolQueue();

}  // namespace quillfold
