// Runs as they are watched, stopped and waited for.
#include "sync/sync_run.h"

#include "api/api_client.h"
#include "api/api_error.h"
#include "contacts/contact_reader.h"
#include "core/device_identifier.h"
#include "platform/dispatch.h"
#include "sync/sync_engine.h"
#include "sync/sync_info_store.h"

namespace quillfold {

void SyncEngine::run(std::stop_token stop, RunCompletion completion) {
  const auto run = std::make_shared<Run>(Run{.stop = std::move(stop)});
  const auto end = [this, run, completion = std::move(completion)](const ErrorPtr& error) {
    tellEnd(run, error);
    completion(run->tally, error);
  };
  if (const ErrorPtr error = reader_->guard()) return end(error);
  const std::string localSourceId = localSourceIdentifier();
  registerSource(
      [this, run, localSourceId, end](bool, const ErrorPtr& error) {
        if (run->stop.stop_requested()) {
          run->tally.stopped = true;
          return end(nullptr);
        }
        if (error) return end(error);
        start(run, localSourceId, [end](std::int64_t, const ErrorPtr& failure) { end(failure); });
      },
      controlOf(run));
}

void SyncEngine::setStop(std::stop_token stop) {
  const std::lock_guard lock(mutex_);
  std::swap(stop_, stop);
}

SyncEngine::RunPtr SyncEngine::makeRun() const {
  const std::lock_guard lock(mutex_);
  return std::make_shared<Run>(Run{.stop = stop_});
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
  for (const auto& watcher : watchers()) {
    if (watcher->progress) watcher->progress(run->tally);
  }
}

void SyncEngine::tellEnd(const RunPtr& run, const ErrorPtr& error) const {
  if (error && error->domain() == QFSyncErrorDomain && error->code() == 0) return;
  for (const auto& watcher : watchers()) {
    if (watcher->ended) watcher->ended(run->tally, error);
  }
}

void SyncEngine::whenIdle(std::function<void()> handler) {
  {
    const std::lock_guard lock(mutex_);
    if (syncInProgress_) {
      waiting_.push_back(std::move(handler));
      return;
    }
  }
  dispatchMain(std::move(handler));
}

bool SyncEngine::isStopping() const {
  const std::lock_guard lock(mutex_);
  return syncInProgress_ && guardStop_.stop_requested();
}

void SyncEngine::leave(const RunPtr& run) {
  synchronizeRecords();
  std::vector<std::function<void()>> waiting;
  {
    const std::lock_guard lock(mutex_);
    // The guard may be another run's by now.
    if (std::exchange(run->hasLeft, true)) return;
    syncInProgress_ = false;
    waiting.swap(waiting_);
  }
  for (auto& handler : waiting)
    dispatchMain(std::move(handler));
}

// The disk takes a batch while the next one is on its way, and has it before that is
// recorded: so a power cut takes back one batch at most.
void SyncEngine::record(const RunPtr& run, const QFContactList& batch) {
  synchronizeRecords();
  for (const QFContactPtr& contact : batch)
    store_->saveSyncInfoForContact(*contact);
  dispatchGlobal([store = store_] { store->synchronize(); });
  run->tally.uploaded += std::ssize(batch);
  ++run->tally.batches;
  run->tally.bookkeepingWritten = store_->lastSaveError() == nullptr;
  tellProgress(run);
}

void SyncEngine::synchronizeRecords() {
  store_->synchronize();
}

}  // namespace quillfold
