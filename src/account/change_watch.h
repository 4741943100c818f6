// Who is told of an account's changes.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "account/account.h"
#include "sync/sync_run.h"

namespace quillfold {

SyncReport reportOf(const SyncTally& tally);

// Hands changes on, on the main queue, as long as it lives and the account is open.
class ChangeWatch {
 public:
  using Handler = std::function<void(const AccountChange& change)>;

  ChangeWatch(const std::shared_ptr<AccountSession>& account, Handler handler);
  ~ChangeWatch();
  ChangeWatch(const ChangeWatch&) = delete;
  ChangeWatch& operator=(const ChangeWatch&) = delete;

 private:
  const std::string identifier_;
  const std::shared_ptr<const Handler> handler_;
  const Handler tell_;
  const std::shared_ptr<void> runs_;
};

}  // namespace quillfold
