// One run of the sync, as those see it who start it or look on.
#pragma once

#include <cstdint>
#include <functional>

#include "foundation/error.h"

namespace quillfold {

// How far a run has come, in contacts but for what is said to be something else.
struct SyncTally {
  std::int64_t read = 0;
  // What the address book has left out of that.
  std::int64_t skipped = 0;
  std::int64_t toUpload = 0;
  // Those whose batch the backend has taken; all of them are recorded.
  std::int64_t uploaded = 0;
  std::int64_t batches = 0;
  // Of the bodies of uploads.
  std::int64_t bytes = 0;
  // Whether the bookkeeping could be read, if it is there; whether what is on the disk holds
  // all that was recorded, by this run and those before it.
  bool bookkeepingRead = true;
  bool bookkeepingWritten = true;
  bool stopped = false;
  // Since its beginning, by a clock that nobody sets.
  double seconds = 0;
};

// Told of every run, whoever started it. Called on the thread that the run is on, the main
// queue's but for what is known at once and after the backend's duplicate answer.
struct SyncWatcher {
  // After reading and after each batch.
  std::function<void(const SyncTally& tally)> progress;
  // Not for a run that has only found another one under way.
  std::function<void(const SyncTally& tally, const ErrorPtr& error)> ended;
};

}  // namespace quillfold
