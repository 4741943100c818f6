#include "sync/sync_engine.h"

#include "api/api_client.h"
#include "api/api_error.h"
#include "contacts/batches.h"
#include "contacts/contact_reader.h"
#include "core/defaults_keys.h"
#include "core/device_identifier.h"
#include "core/error.h"
#include "platform/log_line.h"
#include "platform/user_defaults.h"
#include "sync/sync_info_store.h"
#include "sync/upload_problem.h"

namespace quillfold {

namespace {

// The end of an operation that reports success or an error.
void finish(const SuccessCompletion& completion, const ErrorPtr& error) {
  if (completion) completion(error == nullptr, error);
}

OptionalString storedUserId() {
  return NSUserDefaults::standardUserDefaults().stringForKey(defaults_keys::kUserId);
}

ErrorPtr noUserId(const char* message) {
  return QFError::errorWithCode(QFErrorCodeNoUserId, message);
}

constexpr const char* kNoUserForRegistration =
    "No user ID available for contact source registration";

// The name under which this device registers: the bare identifier, but with its
// prefix on the run that makes the identifier.
std::string contactSourceName() {
  const auto stored =
      NSUserDefaults::standardUserDefaults().stringForKey(defaults_keys::kDeviceIdentifier);
  return stored ? *stored : localSourceIdentifier();
}

}  // namespace

SyncEngine::SyncEngine(std::shared_ptr<ContactReader> reader, std::shared_ptr<SyncInfoStore> store,
                       ClientLink linkClient, OSLogPtr logger)
    : reader_(std::move(reader)),
      store_(std::move(store)),
      linkClient_(std::move(linkClient)),
      logger_(std::move(logger)) {}

std::shared_ptr<QFAPIClient> SyncEngine::apiClient() const {
  const std::lock_guard lock(mutex_);
  return apiClient_;
}

void SyncEngine::syncContacts(SuccessCompletion completion) {
  if (const ErrorPtr error = reader_->guard()) return finish(completion, error);
  NSLog("Beginning sync of contacts");
  reader_->fetchContactsWithCompletion(
      [this, completion = std::move(completion)](const std::optional<QFContactList>& contacts,
                                                 const ErrorPtr& error) {
        syncReadContacts(contacts, error, completion);
      });
}

// The contacts are only counted here; the core reads the address book again.
void SyncEngine::syncReadContacts(const std::optional<QFContactList>& contacts,
                                  const ErrorPtr& error, const SuccessCompletion& completion) {
  if (error) {
    logLine("Failed to fetch contacts for sync: {}", error->localizedDescription());
    return finish(completion, error);
  }
  if (contacts->empty()) {
    NSLog("No contacts to sync");
    return finish(completion, nullptr);
  }
  logLine("Found {} contacts to sync", contacts->size());
  const auto userId = storedUserId();
  if (!userId) return finish(completion, noUserId(kNoUserForRegistration));
  const std::string localSourceId = localSourceIdentifier();
  registerContactSourceWithCompletion([this, userId, localSourceId, completion](
                                          bool registered, const ErrorPtr& registrationError) {
    if (!registered) {
      // The registration itself has logged this line too.
      logLine("Failed to register contact source: {}", registrationError->localizedDescription());
      return finish(completion, registrationError);
    }
    startSyncWithSourceId(
        localSourceId, *userId, [completion](std::int64_t count, const ErrorPtr& syncError) {
          if (syncError) {
            logLine("Failed to sync contacts: {}", syncError->localizedDescription());
          } else {
            logLine("Successfully synced {} contacts", count);
          }
          finish(completion, syncError);
        });
  });
}

void SyncEngine::registerContactSourceWithCompletion(SuccessCompletion completion) {
  if (!storedUserId()) return finish(completion, noUserId(kNoUserForRegistration));
  const std::string name = contactSourceName();
  QFAPIClient::sharedInstance()->createContactSourceWithName(
      name, QFSourceTypeDevice,
      [name, completion = std::move(completion)](const QFContactSourcePtr&, const ErrorPtr& error) {
        if (error) {
          logLine("Failed to register contact source: {}", error->localizedDescription());
        } else {
          logLine("Successfully registered contact source: {}", name);
        }
        finish(completion, error);
      });
}

void SyncEngine::syncContactsToServerWithCompletion(SuccessCompletion completion) {
  const auto userId = storedUserId();
  if (!userId) return finish(completion, noUserId("No user ID available for server sync"));
  startSyncWithSourceId(
      localSourceIdentifier(), *userId,
      [completion = std::move(completion)](std::int64_t count, const ErrorPtr& error) {
        if (error) {
          logLine("Failed to sync contacts to server: {}", error->localizedDescription());
        } else {
          logLine("Successfully synced {} contacts to server", count);
        }
        finish(completion, error);
      });
}

void SyncEngine::startSyncWithSourceId(std::string localSourceId, std::string,
                                       CountCompletion completion) {
  if (syncInProgress_.exchange(true)) {
    return completion(0, NSError::errorWithDomain(
                             QFSyncErrorDomain, 0,
                             {{NSLocalizedDescriptionKey, "Sync operation already in progress"}}));
  }
  if (!apiClient()) enableBackgroundSync();
  getContactsForSyncWithCompletion(
      [this, localSourceId = std::move(localSourceId), completion = std::move(completion)](
          const std::optional<QFContactList>& contacts, const ErrorPtr& error) {
        if (error) {
          syncInProgress_ = false;
          return completion(0, error);
        }
        if (contacts->empty()) {
          syncInProgress_ = false;
          os_log_info(logger_, "No contacts need syncing");
          return completion(0, nullptr);
        }
        for (const QFContactPtr& contact : *contacts)
          contact->setSourceId(localSourceId);
        syncBatch(*contacts, 0, 0,
                  [this, completion](std::int64_t count, const ErrorPtr& batchError) {
                    finishSync(count, batchError, completion);
                  });
      });
}

void SyncEngine::finishSync(std::int64_t count, const ErrorPtr& error,
                            const CountCompletion& completion) {
  syncInProgress_ = false;
  if (error) {
    os_log_error(logger_, fmt::format("Sync failed: {}", error->localizedDescription()));
  } else {
    os_log_info(logger_, fmt::format("Sync completed: {} contacts processed", count));
  }
  completion(count, error);
}

void SyncEngine::getContactsForSyncWithCompletion(ContactsCompletion completion) {
  reader_->fetchContactsWithCompletion(
      [this, completion = std::move(completion)](const std::optional<QFContactList>& contacts,
                                                 const ErrorPtr& error) {
        if (error) return completion(std::nullopt, error);
        QFContactList changed;
        for (const QFContactPtr& contact : *contacts) {
          if (store_->hasContactChanged(*contact)) changed.push_back(contact);
        }
        completion(std::move(changed), nullptr);
      });
}

void SyncEngine::syncBatch(QFContactList contacts, std::int64_t batchIndex,
                           std::int64_t processedCount, CountCompletion completion) {
  uploadBatch(std::make_shared<const QFContactList>(std::move(contacts)), batchIndex,
              processedCount, completion);
}

void SyncEngine::uploadBatch(const std::shared_ptr<const QFContactList>& contacts,
                             std::int64_t batchIndex, std::int64_t processedCount,
                             const CountCompletion& completion) {
  const std::int64_t size = batchSize();
  const auto count = static_cast<std::int64_t>(contacts->size());
  const auto range = nextBatch(count, size, batchIndex, Comparison::Unsigned);
  if (!range) {
    syncInProgress_ = false;
    return completion(processedCount, nullptr);
  }
  const auto client = apiClient();
  // Only a host that starts a batch by itself can come before the client.
  if (const ErrorPtr problem = uploadProblem(client != nullptr, *range, size, batchIndex)) {
    syncInProgress_ = false;
    return completion(processedCount, problem);
  }
  const auto batch = slice(*contacts, *range);
  const std::int64_t next = sum(batchIndex, 1);
  os_log_info(logger_, fmt::format("Processing batch {} of {} ({} contacts)", next,
                                   batchCount(count, size), range->length));
  client->syncContacts(batch, true,
                       [this, contacts, batch, next, processedCount, completion](
                           std::int64_t processed, const ErrorPtr& error) {
                         if (error) {
                           syncInProgress_ = false;
                           return completion(processedCount, error);
                         }
                         // Skipped duplicates count as synced: the count is only reported.
                         for (const QFContactPtr& contact : batch)
                           store_->saveSyncInfoForContact(*contact);
                         uploadBatch(contacts, next, sum(processedCount, processed), completion);
                       });
}

void SyncEngine::cancelSync() {
  if (!syncInProgress_) {
    os_log_info(logger_, "No sync operation in progress to cancel");
    return;
  }
  os_log_info(logger_, "Sync operation cancelled");
  if (const auto client = apiClient()) client->cancelAllRequests();
  syncInProgress_ = false;
}

}  // namespace quillfold
