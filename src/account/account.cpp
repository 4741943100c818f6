// Opening, closing, and the sync.
#include "account/account.h"

#include "account/account_session.h"
#include "account/change_watch.h"
#include "account/user_records.h"
#include "api/api_error.h"
#include "facade/contact_service_parts.h"
#include "platform/dispatch.h"
#include "sync/sync_engine.h"

namespace quillfold {

namespace {

// A stop of the caller's, of the account's, or of the operation itself.
class AnyStop {
 public:
  AnyStop(const std::stop_token& one, const std::stop_token& other)
      : one_(one, [this] { request(); }), other_(other, [this] { request(); }) {}
  void request() { any_.request_stop(); }
  std::stop_token token() const { return any_.get_token(); }

 private:
  std::stop_source any_;
  std::stop_callback<std::function<void()>> one_;
  std::stop_callback<std::function<void()>> other_;
};

bool isBusy(const ErrorPtr& error) {
  return error && error->domain() == QFSyncErrorDomain && error->code() == 0;
}

// How one run of the engine has ended.
struct RunEnd {
  bool stopped = false;
  ErrorPtr error;
};

Operation<RunEnd> run(SyncEngine& engine, const std::stop_token& stop) {
  return started<RunEnd>([&](const Ending<RunEnd>& ending) {
    engine.run(stop, [ending](const SyncTally& tally, const ErrorPtr& error) {
      ending(RunEnd{tally.stopped, error});
    });
  });
}

// Runs as soon as nobody else does, and once more with a fresh token where the backend
// refuses the one at hand. Whether a stop has ended it, and with it what the library ran by
// itself.
Operation<bool> runAlone(std::shared_ptr<AccountSession> account, std::stop_token until) {
  // Local: the parameters of a coroutine outlive its end.
  const auto session = std::move(account);
  const auto stop = std::move(until);
  bool renewed = false;
  for (;;) {
    const Operation<bool> idle = session->idle(stop);
    const bool isIdle = co_await idle;
    if (!isIdle) break;
    session->requireOpen();
    const Operation<RunEnd> own = run(session->engine(), stop);
    const RunEnd end = co_await own;
    if (isBusy(end.error) && !session->engine().isGuardLost()) continue;
    if (end.stopped) break;
    if (!end.error) co_return false;
    // The session has dropped a token that was refused.
    const Failure failure = Failure::fromError(*end.error);
    if (renewed || !refusesToken(failure)) throw failure;
    renewed = true;
  }
  session->stopLibraryRuns();
  const Operation<bool> ended = session->idle({}, SyncEngine::Runs::Stopping);
  co_await ended;
  co_return true;
}

using Progress = std::shared_ptr<const std::function<void(const SyncProgress&)>>;

// Hands progress on, on the main queue: what the host does in it can't hold up the run, and
// nothing of it is called once the sync has let go of it.
std::function<void(const SyncTally&)> progressOf(const std::shared_ptr<AccountSession>& session,
                                                 const RunTotals::Sum& before,
                                                 const Progress& progress) {
  return [session, before, weak = std::weak_ptr(progress)](const SyncTally& tally) {
    const SyncTally done = session->totals().ended().since(before);
    const SyncProgress told{tally.read, done.uploaded + tally.toUpload,
                            done.uploaded + tally.uploaded, done.batches + tally.batches};
    dispatchMain([weak, told] {
      if (const Progress called = weak.lock(); called && *called) (*called)(told);
    });
  };
}

Operation<SyncReport> syncWith(std::shared_ptr<AccountSession> account, SyncOptions options,
                               std::shared_ptr<AnyStop> until) {
  const auto session = std::move(account);
  const auto stop = std::move(until);
  session->requireOpen();
  const RunTotals::Sum before = session->takeReported();
  const Progress progress =
      std::make_shared<const std::function<void(const SyncProgress&)>>(std::move(options.progress));
  const auto watching =
      session->engine().watch({.progress = progressOf(session, before, progress), .ended = {}});
  const Operation<bool> access = session->access(stop->token());
  co_await access;
  const Operation<bool> runs = runAlone(session, stop->token());
  const bool stopped = co_await runs;
  SyncReport report = reportOf(session->totals().all().since(before));
  report.stopped = stopped;
  co_return report;
}

}  // namespace

Operation<Account> Account::open(AccountConfiguration configuration) {
  std::stop_source stop;
  Operation<Account> account = AccountSession::open(std::move(configuration), stop.get_token());
  account.onCancel([stop]() mutable { stop.request_stop(); });
  return account;
}

Operation<void> Account::close() const {
  const auto session = session_;
  if (!session->isOpen()) co_return;
  session->beginClosing();
  const Operation<bool> idle = session->idle();
  co_await idle;
  session->shut();
}

std::string Account::bookkeepingPath(const std::string& userId) {
  return bookkeepingPathOf(userId);
}

std::optional<Failure> Account::bookkeepingProblem() {
  const ErrorPtr error = engineOf(*QFContactService::sharedInstance()).recordsProblem();
  return error ? std::optional(Failure::fromError(*error)) : std::nullopt;
}

bool Account::isOpen() const {
  return session_->isOpen();
}

const AccountUser& Account::user() const {
  return session_->configuration().user;
}

Operation<bool> Account::requestAccess() const {
  return session_->access();
}

Operation<SyncReport> Account::sync(SyncOptions options) const {
  const auto stop = std::make_shared<AnyStop>(options.stop, session_->closing());
  Operation<SyncReport> report = syncWith(session_, std::move(options), stop);
  report.onCancel([stop] { stop->request(); });
  return report;
}

AccountSubscription Account::onChange(
    std::function<void(const AccountChange& change)> handler) const {
  return AccountSubscription(std::make_shared<ChangeWatch>(session_, std::move(handler)));
}

}  // namespace quillfold
