// Sending the changed contacts to the backend, batch by batch.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <vector>

#include "contacts/completions.h"
#include "platform/log.h"
#include "sync/sync_run.h"

namespace quillfold {

class ContactReader;
class QFAPIClient;
struct RequestControl;
class SyncInfoStore;

// The sync of the facade: contacts from a reader, compared and recorded in a store, sent
// by the shared client. The operations are those of QFContactService. Any thread; it has
// to outlive its runs.
class SyncEngine {
 public:
  // Tells the client of the service that it works for.
  using ClientLink = std::function<void(QFAPIClient& client)>;

  SyncEngine(std::shared_ptr<ContactReader> reader, std::shared_ptr<SyncInfoStore> store,
             ClientLink linkClient, OSLogPtr logger);
  SyncEngine(const SyncEngine&) = delete;
  SyncEngine& operator=(const SyncEngine&) = delete;

  // Who has begun a run that has no stop of its own.
  enum class Starter { Host, Library };
  void syncContacts(SuccessCompletion completion, Starter starter = Starter::Host);
  void syncContactsToServerWithCompletion(SuccessCompletion completion);
  void registerContactSourceWithCompletion(SuccessCompletion completion);
  void getContactsForSyncWithCompletion(ContactsCompletion completion);
  void startSyncWithSourceId(std::string localSourceId, std::string userId,
                             CountCompletion completion);
  void syncBatch(QFContactList contacts, std::int64_t batchIndex, std::int64_t processedCount,
                 CountCompletion completion);
  void cancelSync();
  void enableBackgroundSync();
  void scheduleBackgroundSyncTask();

  // Registers this device and uploads what has changed, as syncContacts does, but reads
  // the address book once. A stop ends the run between two batches, or by ending its own
  // request; then it ends without an error. The completion gets what the run has done, also
  // beside an error, on the threads of syncContacts.
  using RunCompletion = std::function<void(const SyncTally& tally, ErrorPtr error)>;
  void run(std::stop_token stop, RunCompletion completion);
  // End runs that have no stop of their own, those of other operations than `run`, from
  // the next one on.
  struct Stops {
    std::stop_token ofHost;
    std::stop_token ofLibrary;
  };
  void setStops(Stops stops);
  // Looks on until the returned object goes.
  std::shared_ptr<void> watch(SyncWatcher watcher);
  // Calls back on the main queue once the runs that are under way now have ended, all or
  // those that have been told to stop. A run is under way from its first reading on.
  enum class Runs { All, Stopping };
  void whenEnded(Runs which, std::function<void()> handler);
  bool isIdle() const;
  // Whether the guard is set though no run is under way: one was lost, and nothing else can
  // begin.
  bool isGuardLost() const { return isIdle() && syncInProgress_ && isIdle(); }

  // Waits until a power cut can take back nothing that is recorded.
  void synchronizeRecords();
  // Why the bookkeeping could not be read; null if it could.
  ErrorPtr recordsProblem() const;

  bool syncInProgress() const { return syncInProgress_; }
  std::int64_t batchSize() const { return batchSize_; }
  void setBatchSize(std::int64_t batchSize) { batchSize_ = batchSize; }
  // Absent until enableBackgroundSync has run.
  std::shared_ptr<QFAPIClient> apiClient() const;

 private:
  // What one run carries along.
  struct Run {
    using Clock = std::chrono::steady_clock;
    double seconds() const { return std::chrono::duration<double>(Clock::now() - begin).count(); }

    std::stop_token stop;
    SyncTally tally{};
    Clock::time_point begin = Clock::now();
  };
  using RunPtr = std::shared_ptr<Run>;

  RunPtr makeRun(Starter starter) { return makeRun(stopOf(starter)); }
  RunPtr makeRun(std::stop_token stop);
  // The first call of a run counts: its end, or that of a run which nobody ends.
  void endRun(const Run* run);
  std::stop_token stopOf(Starter starter) const;
  void sync(const RunPtr& run, const std::string& localSourceId, CountCompletion completion);
  static bool hasStopped(const RunPtr& run, const ErrorPtr& error);
  void registerSource(SuccessCompletion completion, const RequestControl& control);
  void start(const RunPtr& run, const std::string& localSourceId, CountCompletion completion);
  // Of no run, which nobody looks at, where that is null.
  void readChanged(const RunPtr& run, ContactsCompletion completion);
  void tellProgress(const RunPtr& run) const;
  void tellEnd(const RunPtr& run, const ErrorPtr& error);
  std::vector<std::shared_ptr<const SyncWatcher>> watchers() const;
  void record(const RunPtr& run, const QFContactList& batch, bool moreToCome);
  void note(Run& run) const;
  static RequestControl controlOf(const RunPtr& run);
  // Lets the guard go, once the disk has what the run has recorded.
  void leave();
  void syncReadContacts(const RunPtr& run, const std::optional<QFContactList>& contacts,
                        const ErrorPtr& error, const SuccessCompletion& completion);
  // One batch of syncBatch; the list is shared by all of them.
  void uploadBatch(const RunPtr& run, const std::shared_ptr<const QFContactList>& contacts,
                   std::int64_t batchIndex, std::int64_t processedCount,
                   const CountCompletion& completion);
  void finishSync(std::int64_t count, const ErrorPtr& error, const CountCompletion& completion);

  const std::shared_ptr<ContactReader> reader_;
  const std::shared_ptr<SyncInfoStore> store_;
  const ClientLink linkClient_;
  const OSLogPtr logger_;

  std::atomic<bool> syncInProgress_ = false;
  std::atomic<std::int64_t> batchSize_ = 20;

  // Guards the fields below it; never held while calling out.
  mutable std::mutex mutex_;
  std::shared_ptr<QFAPIClient> apiClient_;
  Stops stops_;
  // Those under way.
  std::map<const Run*, std::stop_token> runs_;
  // Who waits, and for which.
  struct Waiting {
    std::set<const Run*> runs;
    std::function<void()> handler;
  };
  std::vector<Waiting> waiting_;
  std::vector<std::weak_ptr<const SyncWatcher>> watchers_;
};

}  // namespace quillfold
