// Threads that leave the host's signals alone.
#pragma once

#include <functional>

namespace quillfold {

// Calls the function with all signals blocked on this thread: a thread that it starts
// never takes one of the host's.
void withSignalsBlocked(const std::function<void()>& start);

}  // namespace quillfold
