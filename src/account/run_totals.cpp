#include "account/run_totals.h"

#include "sync/sync_engine.h"

namespace quillfold {

void RunTotals::Sum::add(const SyncTally& other, bool isWhole) {
  // One that ended early has not read.
  if (other.read > 0 || isWhole) {
    tally.read = other.read;
    tally.skipped = other.skipped;
    ++readings;
  }
  if (!other.bookkeepingRead) ++unread;
  tally.bookkeepingWritten = other.bookkeepingWritten;
  tally.uploaded += other.uploaded;
  tally.batches += other.batches;
  tally.bytes += other.bytes;
  tally.seconds += other.seconds;
}

SyncTally RunTotals::Sum::since(const Sum& earlier) const {
  SyncTally out = tally;
  if (readings == earlier.readings) out.read = out.skipped = 0;
  out.bookkeepingRead = unread == earlier.unread;
  out.uploaded -= earlier.tally.uploaded;
  out.batches -= earlier.tally.batches;
  out.bytes -= earlier.tally.bytes;
  out.seconds -= earlier.tally.seconds;
  return out;
}

std::shared_ptr<RunTotals> RunTotals::of(SyncEngine& engine) {
  struct Watched {
    RunTotals totals;
    std::shared_ptr<void> watching;
  };
  const auto watched = std::make_shared<Watched>();
  watched->watching = engine.watch(
      {.progress =
           [weak = std::weak_ptr(watched)](const SyncTally& tally) {
             if (const auto w = weak.lock()) w->totals.look(tally);
           },
       .ended =
           [weak = std::weak_ptr(watched)](const SyncTally& tally, const ErrorPtr& error) {
             const auto w = weak.lock();
             if (w) w->totals.end(tally, !tally.stopped && !error);
           }});
  return {watched, &watched->totals};
}

RunTotals::Sum RunTotals::ended() const {
  const std::lock_guard lock(mutex_);
  return ended_;
}

RunTotals::Sum RunTotals::all() const {
  const std::lock_guard lock(mutex_);
  Sum sum = ended_;
  if (underWay_.read > 0) sum.add(underWay_, true);
  return sum;
}

void RunTotals::look(const SyncTally& tally) {
  const std::lock_guard lock(mutex_);
  underWay_ = tally;
}

void RunTotals::end(const SyncTally& tally, bool isWhole) {
  const std::lock_guard lock(mutex_);
  ended_.add(tally, isWhole);
  underWay_ = {};
}

}  // namespace quillfold
