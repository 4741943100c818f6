// The sync on leaving the foreground, and the wiring of facade and client.
#include "api/api_client.h"
#include "core/defaults_keys.h"
#include "core/device_identifier.h"
#include "platform/log_line.h"
#include "platform/user_defaults.h"
#include "sync/sync_engine.h"

namespace quillfold {

namespace {

// A user is made up and stored where there is none yet, for the next initialisation to
// overwrite.
void keepOrInventUserId() {
  NSUserDefaults& defaults = NSUserDefaults::standardUserDefaults();
  if (defaults.stringForKey(defaults_keys::kUserId)) return;
  defaults.setObject(newIdentifier(IdentifierCase::Lower), defaults_keys::kUserId);
}

}  // namespace

void SyncEngine::enableBackgroundSync() {
  if (!apiClient()) {
    const auto client = QFAPIClient::sharedInstance();
    linkClient_(*client);
    const std::lock_guard lock(mutex_);
    apiClient_ = client;
  }
  if (batchSize_ == 0) batchSize_ = 20;
  os_log_info(logger_, "Background sync enabled for contact service");
}

void SyncEngine::scheduleBackgroundSyncTask() {
  // A device identifier made here is lower case, unlike everywhere else; so it
  // comes before the client, whose device description would make one too.
  const std::string localSourceId = localSourceIdentifier(IdentifierCase::Lower);
  enableBackgroundSync();
  keepOrInventUserId();
  sync(makeRun(Starter::Library), localSourceId, [this](std::int64_t count, const ErrorPtr& error) {
    if (error) {
      os_log_error(logger_, "Background sync failed: {}", error->localizedDescription());
    } else {
      os_log_info(logger_, "Background sync completed, processed {} contacts", count);
    }
  });
}

}  // namespace quillfold
