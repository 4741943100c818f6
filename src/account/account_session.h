// An open account.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include "account/account.h"
#include "account/run_totals.h"
#include "api/api_client.h"
#include "facade/contact_service.h"
#include "sync/sync_engine.h"

namespace quillfold {

class BGTask;
class ChangeWatch;
class QFRecommendationService;
class QFSocialService;

// Holds this process's one place for an account and the lock of its home, from `claim` on
// until it is shut, at its death at the latest.
class AccountSession : public std::enable_shared_from_this<AccountSession> {
 public:
  // As Account::open; a stop ends it with what it has begun, and leaves nothing open.
  static Operation<Account> open(AccountConfiguration configuration, std::stop_token stop);
  // Runs the sync of the account that is open, for the system; without one the task fails.
  static void runTask(const std::shared_ptr<BGTask>& task);
  ~AccountSession();
  AccountSession(const AccountSession&) = delete;
  AccountSession& operator=(const AccountSession&) = delete;

  const AccountConfiguration& configuration() const { return configuration_; }
  QFContactService& service() const { return *QFContactService::sharedInstance(); }
  QFAPIClient& client() const { return *QFAPIClient::sharedInstance(); }
  SyncEngine& engine() const;
  QFRecommendationService& recommendations() const;
  QFSocialService& social() const;
  std::stop_token closing() const { return closing_.get_token(); }

  bool isOpen() const { return open_; }
  // Throws Failure once the account is closed.
  void requireOpen() const;
  // Ends every run of the sync, whoever started it.
  void beginClosing();
  // Ends the runs that nobody gave a stop of their own; from the closing on each that comes.
  void stopLibraryRuns();
  // Leaves the library as a reset leaves it, and the place to the next account. The first
  // call counts. A run that is still under way keeps the home from other processes.
  void shut();

  // Ends with true when the runs that are under way now have ended, with false at a stop.
  Operation<bool> idle(const std::stop_token& stop = {},
                       SyncEngine::Runs which = SyncEngine::Runs::All) const;
  // Ends with the permission, with false at a stop too.
  Operation<bool> access(const std::stop_token& stop = {});
  // The client's token while it is good.
  OptionalString token() const;
  // The client fetches another one if it still has the one that was refused. Absent: the
  // one that it fetched for the request.
  void dropToken(const OptionalString& refused) const;
  // What all runs since the opening have done, and those that it has waited for.
  const RunTotals& totals() const { return *totals_; }
  // What is no part of the report that begins now: for the first one what the last account
  // has left, since the library's first run began by itself; then all that there is.
  RunTotals::Sum takeReported();

 private:
  AccountSession(AccountConfiguration configuration, std::shared_ptr<void> homeLock);
  // Throws Failure: InvalidConfiguration, AlreadyOpen, HomeInUse.
  static std::shared_ptr<AccountSession> claim(AccountConfiguration configuration);
  // The open account of this process; null without one.
  static std::shared_ptr<AccountSession> current();

  void setStops();
  // Throws Failure once it is told to close.
  void requireNotClosing() const;
  // Ends with the start of the library.
  Operation<void> start();
  Operation<void> initialize() const;
  Operation<void> drainClient() const;
  Operation<void> keepOrganization() const;

  const AccountConfiguration configuration_;
  std::shared_ptr<void> homeLock_;
  std::shared_ptr<const RunTotals> totals_;
  // Of runs that the last account has left under way.
  RunTotals::Sum leftOver_;
  std::shared_ptr<void> refusals_;
  std::unique_ptr<ChangeWatch> changes_;
  std::atomic<bool> open_ = true;
  std::atomic<bool> hasReported_ = false;
  std::stop_source closing_;
  std::mutex mutex_;
  std::stop_source libraryRuns_;
};

// Whether the backend has refused the token: an answer 401 or 403, with a text or without.
bool refusesToken(const Failure& failure);

// The operation that `call` starts and hands its ending to.
template <typename T, typename Call>
Operation<T> started(Call call) {
  Ending<T> ending;
  try {
    call(ending);
  } catch (const Failure& failure) {
    ending(failure);
  } catch (const NSException& exception) {
    ending(Failure(exception.name(), 0, exception.reason()));
  }
  return Operation<T>(ending);
}

// The same for an open account, and once more with a fresh token where that was refused.
template <typename T>
Operation<T> asked(std::shared_ptr<AccountSession> account,
                   std::function<void(const Ending<T>& ending)> ask) {
  // Local: the parameters of a coroutine outlive its end.
  const auto session = std::move(account);
  const auto call = std::move(ask);
  session->requireOpen();
  const OptionalString token = session->token();
  const Operation<T> first = started<T>(call);
  try {
    co_return co_await first;
  } catch (const Failure& failure) {
    if (!refusesToken(failure)) throw;
  }
  session->requireOpen();
  session->dropToken(token);
  const Operation<T> second = started<T>(call);
  co_return co_await second;
}

}  // namespace quillfold
