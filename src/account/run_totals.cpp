#include "account/run_totals.h"

#include "sync/sync_engine.h"

namespace quillfold {

namespace {

SyncTally sumOf(SyncTally sum, const SyncTally& tally) {
  // One that was stopped early has not read.
  if (tally.read > 0 || !tally.stopped) sum.read = tally.read;
  if (tally.batches > 0) sum.bookkeepingWritten = tally.bookkeepingWritten;
  sum.uploaded += tally.uploaded;
  sum.batches += tally.batches;
  sum.bytes += tally.bytes;
  return sum;
}

}  // namespace

std::shared_ptr<RunTotals> RunTotals::of(SyncEngine& engine) {
  struct Watched {
    RunTotals totals;
    std::shared_ptr<void> watching;
  };
  const auto watched = std::make_shared<Watched>();
  watched->watching =
      engine.watch({.progress =
                        [weak = std::weak_ptr(watched)](const SyncTally& tally) {
                          if (const auto w = weak.lock()) w->totals.look(tally);
                        },
                    .ended =
                        [weak = std::weak_ptr(watched)](const SyncTally& tally, const ErrorPtr&) {
                          if (const auto w = weak.lock()) w->totals.add(tally);
                        }});
  return {watched, &watched->totals};
}

SyncTally RunTotals::ended() const {
  const std::lock_guard lock(mutex_);
  return ended_;
}

SyncTally RunTotals::all() const {
  const std::lock_guard lock(mutex_);
  return underWay_.read > 0 ? sumOf(ended_, underWay_) : ended_;
}

void RunTotals::look(const SyncTally& tally) {
  const std::lock_guard lock(mutex_);
  underWay_ = tally;
}

void RunTotals::add(const SyncTally& tally) {
  const std::lock_guard lock(mutex_);
  ended_ = sumOf(ended_, tally);
  underWay_ = {};
}

}  // namespace quillfold
