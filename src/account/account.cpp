// Opening, closing, and the sync.
#include "account/account.h"

#include "account/account_session.h"
#include "api/api_error.h"
#include "events/event_wrapper_service.h"
#include "foundation/uuid.h"
#include "platform/clock.h"
#include "platform/platform.h"
#include "sync/sync_engine.h"

namespace quillfold {

namespace {

SyncReport reportOf(const SyncTally& tally) {
  return {.read = tally.read,
          .uploaded = tally.uploaded,
          .batches = tally.batches,
          .skipped = Platform::current().contacts->skippedContacts(),
          .bytes = tally.bytes,
          .bookkeepingWritten = tally.bookkeepingWritten,
          .stopped = tally.stopped};
}

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

// Hands changes on, on the main queue, as long as it lives and the account is open.
class ChangeWatch {
 public:
  using Handler = std::shared_ptr<const std::function<void(const AccountChange&)>>;

  ChangeWatch(const std::shared_ptr<AccountSession>& account, const Handler& handler)
      : identifier_("Account " + NSUUID::UUIDString()),
        tell_([weakAccount = std::weak_ptr(account),
               weakHandler = std::weak_ptr(handler)](const AccountChange& change) {
          const auto session = weakAccount.lock();
          const auto called = weakHandler.lock();
          if (session && session->isOpen() && called) (*called)(change);
        }),
        runs_(account->engine().watch(
            {.progress = {},
             .ended =
                 [tell = tell_](const SyncTally& tally, const ErrorPtr& error) {
                   AccountChange change{
                       .kind = AccountChange::Kind::Sync, .report = reportOf(tally), .failure = {}};
                   if (error) change.failure = Failure::fromError(*error);
                   dispatchMain([tell, change = std::move(change)] { tell(change); });
                 }})),
        handler_(handler) {
    QFEventWrapperService::sharedInstance()->subscribeToEvent(
        QFEventContactStoreDidChange, identifier_, [tell = tell_] { tell({}); });
  }
  ~ChangeWatch() {
    QFEventWrapperService::sharedInstance()->unsubscribeFromEvent(QFEventContactStoreDidChange,
                                                                  identifier_);
  }
  ChangeWatch(const ChangeWatch&) = delete;
  ChangeWatch& operator=(const ChangeWatch&) = delete;

 private:
  const std::string identifier_;
  const std::function<void(const AccountChange&)> tell_;
  const std::shared_ptr<void> runs_;
  const Handler handler_;
};

Operation<bool> accessOf(const std::shared_ptr<AccountSession>& session) {
  return asked<bool>(session, [&service = session->service()](const Ending<bool>& ending) {
    service.requestContactsAccessWithCompletion(ending);
  });
}

// How one run of the engine has ended.
struct RunEnd {
  SyncTally tally;
  ErrorPtr error;
};

Operation<RunEnd> run(SyncEngine& engine, const std::stop_token& stop) {
  return started<RunEnd>([&](const Ending<RunEnd>& ending) {
    engine.run(stop, [ending](const SyncTally& tally, const ErrorPtr& error) {
      ending(RunEnd{tally, error});
    });
  });
}

// What several runs, one behind the other, have done.
class RunSum {
 public:
  void add(const SyncTally& tally) {
    // One that was stopped early has not read, one that sends nothing writes nothing.
    if (tally.read > 0 || !tally.stopped) sum_.read = tally.read;
    if (tally.batches > 0) sum_.bookkeepingWritten = tally.bookkeepingWritten;
    sum_.uploaded += tally.uploaded;
    sum_.batches += tally.batches;
    sum_.bytes += tally.bytes;
    sum_.stopped = tally.stopped;
    underWay_ = {};
  }
  // The wait for the one that is under way ends before it does.
  void leave() {
    underWay_.stopped = true;
    add(underWay_);
  }
  const SyncTally& sum() const { return sum_; }
  // With the one that is under way.
  SyncProgress progress(const SyncTally& tally) {
    underWay_ = tally;
    return {tally.read, sum_.uploaded + tally.toUpload, sum_.uploaded + tally.uploaded,
            sum_.batches + tally.batches};
  }

 private:
  SyncTally sum_;
  SyncTally underWay_;
};

// Runs as soon as nobody else does, and once more with a fresh token where the backend
// refuses the one at hand.
Operation<void> runAlone(std::shared_ptr<AccountSession> account, std::stop_token until,
                         std::shared_ptr<RunSum> runs) {
  // Local: the parameters of a coroutine outlive its end.
  const auto session = std::move(account);
  const auto stop = std::move(until);
  const auto sum = std::move(runs);
  bool renewed = false;
  for (;;) {
    const Operation<std::optional<SyncTally>> idle = session->idle(stop);
    const std::optional<SyncTally> others = co_await idle;
    if (!others) {
      sum->leave();
      co_return;
    }
    sum->add(*others);
    session->requireOpen();
    const Operation<RunEnd> own = run(session->engine(), stop);
    const RunEnd end = co_await own;
    if (isBusy(end.error)) continue;
    sum->add(end.tally);
    if (!end.error) co_return;
    const Failure failure = Failure::fromError(*end.error);
    if (renewed || !refusesToken(failure)) throw failure;
    renewed = true;
    session->client().setToken(std::nullopt);
  }
}

Operation<SyncReport> syncWith(std::shared_ptr<AccountSession> account, SyncOptions options,
                               std::shared_ptr<AnyStop> until) {
  const auto session = std::move(account);
  const auto stop = std::move(until);
  const double start = currentTime();
  const auto sum = std::make_shared<RunSum>();
  const auto watching = session->engine().watch(
      {.progress =
           [sum, progress = std::move(options.progress)](const SyncTally& tally) {
             const SyncProgress now = sum->progress(tally);
             if (progress) progress(now);
           },
       .ended = {}});
  const Operation<bool> access = accessOf(session);
  co_await access;
  const Operation<void> runs = runAlone(session, stop->token(), sum);
  co_await runs;
  SyncReport report = reportOf(sum->sum());
  report.seconds = currentTime() - start;
  co_return report;
}

}  // namespace

Operation<Account> Account::open(AccountConfiguration configuration) {
  const auto session = AccountSession::claim(std::move(configuration));
  const Operation<void> start = session->start();
  co_await start;
  co_return Account(session);
}

Operation<void> Account::close() const {
  const auto session = session_;
  if (!session->isOpen()) co_return;
  session->beginClosing();
  const Operation<std::optional<SyncTally>> idle = session->idle();
  co_await idle;
  session->shut();
}

bool Account::isOpen() const {
  return session_->isOpen();
}

const AccountUser& Account::user() const {
  return session_->configuration().user;
}

Operation<bool> Account::requestAccess() const {
  return accessOf(session_);
}

Operation<SyncReport> Account::sync(SyncOptions options) const {
  const auto stop = std::make_shared<AnyStop>(options.stop, session_->closing());
  Operation<SyncReport> report = syncWith(session_, std::move(options), stop);
  report.onCancel([stop] { stop->request(); });
  return report;
}

AccountSubscription Account::onChange(
    std::function<void(const AccountChange& change)> handler) const {
  const auto shared =
      std::make_shared<const std::function<void(const AccountChange&)>>(std::move(handler));
  return AccountSubscription(std::make_shared<ChangeWatch>(session_, shared));
}

}  // namespace quillfold
