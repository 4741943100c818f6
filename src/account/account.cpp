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

// A stop of the caller's or of the account's.
class EitherStop {
 public:
  EitherStop(const std::stop_token& one, const std::stop_token& other)
      : one_(one, [this] { both_.request_stop(); }),
        other_(other, [this] { both_.request_stop(); }) {}
  std::stop_token token() const { return both_.get_token(); }

 private:
  std::stop_source both_;
  std::stop_callback<std::function<void()>> one_;
  std::stop_callback<std::function<void()>> other_;
};

bool isBusy(const ErrorPtr& error) {
  return error && error->domain() == QFSyncErrorDomain && error->code() == 0;
}

// Hands changes on, on the main queue, as long as it lives.
class ChangeWatch {
 public:
  using Handler = std::shared_ptr<const std::function<void(const AccountChange&)>>;

  ChangeWatch(SyncEngine& engine, const Handler& handler)
      : identifier_("Account " + NSUUID::UUIDString()),
        runs_(engine.watch(
            {.progress = {},
             .ended =
                 [weak = std::weak_ptr(handler)](const SyncTally& tally, const ErrorPtr& error) {
                   AccountChange change{
                       .kind = AccountChange::Kind::Sync, .report = reportOf(tally), .failure = {}};
                   if (error) change.failure = Failure::fromError(*error);
                   dispatchMain([weak, change = std::move(change)] {
                     if (const auto called = weak.lock()) (*called)(change);
                   });
                 }})),
        handler_(handler) {
    QFEventWrapperService::sharedInstance()->subscribeToEvent(
        QFEventContactStoreDidChange, identifier_, [weak = std::weak_ptr(handler)] {
          if (const auto called = weak.lock()) (*called)({});
        });
  }
  ~ChangeWatch() {
    QFEventWrapperService::sharedInstance()->unsubscribeFromEvent(QFEventContactStoreDidChange,
                                                                  identifier_);
  }
  ChangeWatch(const ChangeWatch&) = delete;
  ChangeWatch& operator=(const ChangeWatch&) = delete;

 private:
  const std::string identifier_;
  const std::shared_ptr<void> runs_;
  const Handler handler_;
};

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
    sum_.read = tally.read;
    sum_.uploaded += tally.uploaded;
    sum_.batches += tally.batches;
    sum_.bytes += tally.bytes;
    sum_.bookkeepingWritten = tally.bookkeepingWritten;
    sum_.stopped = tally.stopped;
  }
  const SyncTally& sum() const { return sum_; }
  // With the one that is under way.
  SyncProgress progress(const SyncTally& tally) const {
    return {tally.read, sum_.uploaded + tally.toUpload, sum_.uploaded + tally.uploaded,
            sum_.batches + tally.batches};
  }

 private:
  SyncTally sum_;
};

}  // namespace

Operation<Account> Account::open(AccountConfiguration configuration) {
  const auto session = AccountSession::claim(std::move(configuration));
  const Operation<void> start = session->start();
  co_await start;
  co_return Account(session);
}

Operation<void> Account::close() const {
  const auto session = session_;
  session->beginClosing();
  const Operation<SyncTally> idle = session->idle();
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
  return asked<bool>(session_, [session = session_.get()](const Ending<bool>& ending) {
    session->service().requestContactsAccessWithCompletion(ending);
  });
}

Operation<SyncReport> Account::sync(SyncOptions options) const {
  const auto session = session_;
  const double start = currentTime();
  const auto stop = std::make_shared<EitherStop>(options.stop, session->closing());
  const auto sum = std::make_shared<RunSum>();
  const auto watching = session->engine().watch(
      {.progress =
           [sum, progress = std::move(options.progress)](const SyncTally& tally) {
             if (progress) progress(sum->progress(tally));
           },
       .ended = {}});
  const Operation<bool> access = requestAccess();
  co_await access;
  bool renewed = false;
  for (;;) {
    const Operation<SyncTally> idle = session->idle(stop->token());
    const SyncTally others = co_await idle;
    sum->add(others);
    session->requireOpen();
    const Operation<RunEnd> own = run(session->engine(), stop->token());
    const RunEnd end = co_await own;
    if (isBusy(end.error)) continue;
    sum->add(end.tally);
    if (!end.error) break;
    const Failure failure = Failure::fromError(*end.error);
    if (renewed || !refusesToken(failure)) throw failure;
    renewed = true;
    session->client().setToken(std::nullopt);
  }
  SyncReport report = reportOf(sum->sum());
  report.seconds = currentTime() - start;
  co_return report;
}

AccountSubscription Account::onChange(
    std::function<void(const AccountChange& change)> handler) const {
  const auto shared =
      std::make_shared<const std::function<void(const AccountChange&)>>(std::move(handler));
  return AccountSubscription(std::make_shared<ChangeWatch>(session_->engine(), shared));
}

}  // namespace quillfold
