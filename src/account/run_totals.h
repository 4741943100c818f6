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

  // The sums but for `read`, which is of the last run that has read, and
  // `bookkeepingWritten`, which is of the last one. `toUpload`, `bookkeepingRead` and `stopped` are
  // not kept.
  struct Sum {
    SyncTally tally;
    std::int64_t readings = 0;
    // Runs that could not read the bookkeeping.
    std::int64_t unread = 0;

    void add(const SyncTally& other, bool isWhole);
    // What is in this sum and was not in an earlier one.
    SyncTally since(const Sum& earlier) const;
  };

  // Of the runs that have ended.
  Sum ended() const;
  // And of the one that is under way, as far as it has come.
  Sum all() const;

 private:
  void look(const SyncTally& tally);
  void end(const SyncTally& tally, bool isWhole);

  mutable std::mutex mutex_;
  Sum ended_;
  SyncTally underWay_;
};

}  // namespace quillfold
