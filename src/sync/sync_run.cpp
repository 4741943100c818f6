// Runs as they are watched, stopped and waited for.
#include "sync/sync_run.h"

#include <algorithm>
#include <iterator>

#include "api/api_client.h"
#include "api/api_error.h"
#include "contacts/contact_reader.h"
#include "core/device_identifier.h"
#include "platform/dispatch.h"
#include "sync/sync_engine.h"
#include "sync/sync_info_store.h"

namespace quillfold {

namespace {

// The end of a request that somebody has cancelled.
bool isCancellation(const NSError& error) {
  const ErrorPtr cause = error.underlyingError();
  return cause && cause->domain() == NSURLErrorDomain && cause->code() == NSURLErrorCancelled;
}

}  // namespace

void SyncEngine::run(std::stop_token stop, RunCompletion completion) {
  const RunPtr run = makeRun(std::move(stop));
  const auto end = [this, run, completion = std::move(completion)](const ErrorPtr& error) {
    tellEnd(run, error);
    completion(run->tally, error);
  };
  if (const ErrorPtr error = reader_->guard()) return end(error);
  const std::string localSourceId = localSourceIdentifier();
  registerSource(
      [this, run, localSourceId, end](bool, const ErrorPtr& error) {
        if (hasStopped(run, error)) return end(nullptr);
        if (error) return end(error);
        start(run, localSourceId, [end](std::int64_t, const ErrorPtr& failure) { end(failure); });
      },
      controlOf(run));
}

void SyncEngine::setStops(Stops stops) {
  const std::lock_guard lock(mutex_);
  std::swap(stops_, stops);
}

std::stop_token SyncEngine::stopOf(Starter starter) const {
  const std::lock_guard lock(mutex_);
  return starter == Starter::Host ? stops_.ofHost : stops_.ofLibrary;
}

SyncEngine::RunPtr SyncEngine::makeRun(std::stop_token stop) {
  const RunPtr run(new Run{.stop = std::move(stop)}, [this](const Run* gone) {
    endRun(gone);
    delete gone;
  });
  const std::lock_guard lock(mutex_);
  runs_.emplace(run.get(), run->stop);
  return run;
}

void SyncEngine::endRun(const Run* run) {
  std::vector<Waiting> ended;
  {
    const std::lock_guard lock(mutex_);
    if (runs_.erase(run) == 0) return;
    for (Waiting& waiting : waiting_)
      waiting.runs.erase(run);
    const auto rest = std::stable_partition(waiting_.begin(), waiting_.end(),
                                            [](const Waiting& w) { return !w.runs.empty(); });
    ended.assign(std::move_iterator(rest), std::move_iterator(waiting_.end()));
    waiting_.erase(rest, waiting_.end());
  }
  for (Waiting& waiting : ended)
    dispatchMain(std::move(waiting.handler));
}

// Whether the run ends here, without an error, since it was told to.
bool SyncEngine::hasStopped(const RunPtr& run, const ErrorPtr& error) {
  if (!run->stop.stop_requested() || (error && !isCancellation(*error))) return false;
  run->tally.stopped = true;
  return true;
}

RequestControl SyncEngine::controlOf(const RunPtr& run) {
  return {.stop = run->stop, .onUpload = [run](std::size_t bytes) {
            run->tally.bytes += static_cast<std::int64_t>(bytes);
          }};
}

std::shared_ptr<void> SyncEngine::watch(SyncWatcher watcher) {
  const auto shared = std::make_shared<const SyncWatcher>(std::move(watcher));
  const std::lock_guard lock(mutex_);
  std::erase_if(watchers_, [](const auto& weak) { return weak.expired(); });
  watchers_.push_back(shared);
  return std::const_pointer_cast<SyncWatcher>(shared);
}

std::vector<std::shared_ptr<const SyncWatcher>> SyncEngine::watchers() const {
  std::vector<std::shared_ptr<const SyncWatcher>> out;
  const std::lock_guard lock(mutex_);
  for (const auto& weak : watchers_) {
    if (auto watcher = weak.lock()) out.push_back(std::move(watcher));
  }
  return out;
}

void SyncEngine::tellProgress(const RunPtr& run) const {
  note(*run);
  for (const auto& watcher : watchers()) {
    if (watcher->progress) watcher->progress(run->tally);
  }
}

// Before the host's completion, which may wait for the end of all runs.
void SyncEngine::tellEnd(const RunPtr& run, const ErrorPtr& error) {
  endRun(run.get());
  if (error && error->domain() == QFSyncErrorDomain && error->code() == 0) return;
  note(*run);
  for (const auto& watcher : watchers()) {
    if (watcher->ended) watcher->ended(run->tally, error);
  }
}

void SyncEngine::whenEnded(Runs which, std::function<void()> handler) {
  Waiting waiting;
  {
    const std::lock_guard lock(mutex_);
    for (const auto& [run, stop] : runs_) {
      if (which == Runs::All || stop.stop_requested()) waiting.runs.insert(run);
    }
    if (!waiting.runs.empty()) {
      waiting.handler = std::move(handler);
      waiting_.push_back(std::move(waiting));
      return;
    }
  }
  dispatchMain(std::move(handler));
}

bool SyncEngine::isIdle() const {
  const std::lock_guard lock(mutex_);
  return runs_.empty();
}

void SyncEngine::leave() {
  synchronizeRecords();
  syncInProgress_ = false;
}

// The disk takes a batch while the next one is on its way, and has it before that is
// recorded: so a power cut takes back one batch at most.
void SyncEngine::record(const RunPtr& run, const QFContactList& batch, bool moreToCome) {
  store_->synchronize(true);
  for (const QFContactPtr& contact : batch)
    store_->saveSyncInfoForContact(*contact);
  dispatchGlobal([store = store_, moreToCome] { store->synchronize(moreToCome); });
  run->tally.uploaded += std::ssize(batch);
  ++run->tally.batches;
  tellProgress(run);
}

// What an earlier run could not write is no more on the disk than this one's own.
void SyncEngine::note(Run& run) const {
  run.tally.seconds = run.seconds();
  run.tally.bookkeepingWritten = store_->lastSaveError() == nullptr;
}

ErrorPtr SyncEngine::recordsProblem() const {
  return store_->lastLoadError();
}

void SyncEngine::synchronizeRecords() {
  store_->synchronize();
}

}  // namespace quillfold
