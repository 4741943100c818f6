// Threads that leave the host's signals alone.
#pragma once

#include <functional>

#include "foundation/export.h"

namespace quillfold {

// Calls the function with all signals blocked on this thread: a thread that it starts
// never takes one of the host's.
QUILLFOLD_EXPORT_INTERNAL void withSignalsBlocked(const std::function<void()>& start);

}  // namespace quillfold
