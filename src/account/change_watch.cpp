#include "account/change_watch.h"

#include "account/account_session.h"
#include "events/event_wrapper_service.h"
#include "foundation/uuid.h"
#include "platform/dispatch.h"
#include "sync/sync_engine.h"

namespace quillfold {

SyncReport reportOf(const SyncTally& tally) {
  return {.read = tally.read,
          .uploaded = tally.uploaded,
          .batches = tally.batches,
          .skipped = tally.skipped,
          .bytes = tally.bytes,
          .seconds = tally.seconds,
          .bookkeepingRead = tally.bookkeepingRead,
          .bookkeepingWritten = tally.bookkeepingWritten,
          .stopped = tally.stopped};
}

ChangeWatch::ChangeWatch(const std::shared_ptr<AccountSession>& account, Handler handler)
    : identifier_("Account " + NSUUID::UUIDString()),
      handler_(std::make_shared<const Handler>(std::move(handler))),
      tell_([weakAccount = std::weak_ptr(account),
             weakHandler = std::weak_ptr(handler_)](const AccountChange& change) {
        const auto session = weakAccount.lock();
        const auto called = weakHandler.lock();
        if (session && session->isOpen() && called) (*called)(change);
      }),
      runs_(account->engine().watch(
          {.progress = {}, .ended = [tell = tell_](const SyncTally& tally, const ErrorPtr& error) {
             AccountChange change{
                 .kind = AccountChange::Kind::Sync, .report = reportOf(tally), .failure = {}};
             if (error) change.failure = Failure::fromError(*error);
             dispatchMain([tell, change = std::move(change)] { tell(change); });
           }})) {
  QFEventWrapperService::sharedInstance()->subscribeToEvent(
      QFEventContactStoreDidChange, identifier_, [tell = tell_] { tell({}); });
}

ChangeWatch::~ChangeWatch() {
  QFEventWrapperService::sharedInstance()->unsubscribeFromEvent(QFEventContactStoreDidChange,
                                                                identifier_);
}

}  // namespace quillfold
