// What the runs of the sync have done since an account was opened.
#pragma once

#include <memory>
#include <mutex>

#include "sync/sync_run.h"

namespace quillfold {

class SyncEngine;

// Sums up every run, whoever started it. Any thread.
class RunTotals {
 public:
  // Looks on as long as the returned object is there.
  static std::shared_ptr<RunTotals> of(SyncEngine& engine);

  // Of those that have ended: the sums but for `read` and `bookkeepingWritten`, which are of
  // the last one that has read, or sent something. `toUpload` and `stopped` are not kept.
  SyncTally ended() const;
  // And of the one that is under way, as far as it has come.
  SyncTally all() const;

 private:
  void look(const SyncTally& tally);
  void add(const SyncTally& tally);

  mutable std::mutex mutex_;
  SyncTally ended_;
  SyncTally underWay_;
};

}  // namespace quillfold
