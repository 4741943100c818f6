// The shape of every read of the contact store.
#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "foundation/error.h"
#include "platform/dispatch.h"

namespace quillfold {

// A result, or what it is without one, and the error.
template <typename Result>
struct ReadOutcome {
  Result result{};
  ErrorPtr error;
};

// Runs the work on a global queue and calls the completion, which may be empty, with its
// outcome on the main queue. What a platform exception stands for is asked of
// `exceptionError`.
template <typename Result, typename Completion>
void readStore(std::function<ReadOutcome<Result>()> work,
               std::function<ErrorPtr(const NSException&)> exceptionError, Completion completion) {
  dispatchGlobal([work = std::move(work), exceptionError = std::move(exceptionError),
                  completion = std::move(completion)]() mutable {
    auto outcome = std::make_shared<ReadOutcome<Result>>();
    try {
      *outcome = work();
    } catch (const NSException& exception) {
      outcome->error = exceptionError(exception);
    }
    // Moved, so that what the completion holds is let go on the main queue too.
    dispatchMain([outcome, completion = std::move(completion)] {
      if (completion) completion(std::move(outcome->result), outcome->error);
    });
  });
}

}  // namespace quillfold
