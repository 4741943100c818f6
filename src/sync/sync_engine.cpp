#include "sync/sync_engine.h"

#include "api/api_client.h"
#include "api/api_error.h"
#include "contacts/batches.h"
#include "contacts/contact_reader.h"
#include "core/defaults_keys.h"
#include "core/device_identifier.h"
#include "core/error.h"
#include "platform/dispatch.h"
#include "platform/log_line.h"
#include "platform/platform.h"
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

void SyncEngine::syncContacts(SuccessCompletion completion, Starter starter) {
  if (const ErrorPtr error = reader_->guard()) return finish(completion, error);
  NSLog("Beginning sync of contacts");
  const auto run = makeRun(starter);
  const auto told = [this, run, completion = std::move(completion)](bool success,
                                                                    const ErrorPtr& error) {
    tellEnd(run, error);
    if (completion) completion(success, error);
  };
  reader_->fetchContactsWithCompletion(
      [this, run, told](const std::optional<QFContactList>& contacts, const ErrorPtr& error) {
        syncReadContacts(run, contacts, error, told);
      });
}

// The contacts are only counted here; the core reads the address book again.
void SyncEngine::syncReadContacts(const RunPtr& run, const std::optional<QFContactList>& contacts,
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
  if (!storedUserId()) return finish(completion, noUserId(kNoUserForRegistration));
  const std::string localSourceId = localSourceIdentifier();
  const auto upload = [this, run, localSourceId, completion](bool registered,
                                                             const ErrorPtr& registrationError) {
    if (hasStopped(run, registrationError)) return finish(completion, nullptr);
    if (!registered) {
      // The registration itself has logged this line too.
      logLine("Failed to register contact source: {}", registrationError->localizedDescription());
      return finish(completion, registrationError);
    }
    start(run, localSourceId, [completion](std::int64_t count, const ErrorPtr& syncError) {
      if (syncError) {
        logLine("Failed to sync contacts: {}", syncError->localizedDescription());
      } else {
        logLine("Successfully synced {} contacts", count);
      }
      finish(completion, syncError);
    });
  };
  registerSource(upload, controlOf(run));
}

void SyncEngine::registerContactSourceWithCompletion(SuccessCompletion completion) {
  registerSource(std::move(completion), {});
}

void SyncEngine::registerSource(SuccessCompletion completion, const RequestControl& control) {
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
      },
      control);
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
  sync(makeRun(Starter::Host), localSourceId, std::move(completion));
}

void SyncEngine::sync(const RunPtr& run, const std::string& localSourceId,
                      CountCompletion completion) {
  start(run, localSourceId,
        [this, run, completion = std::move(completion)](std::int64_t count, const ErrorPtr& error) {
          tellEnd(run, error);
          completion(count, error);
        });
}

void SyncEngine::start(const RunPtr& run, const std::string& localSourceId,
                       CountCompletion completion) {
  if (syncInProgress_.exchange(true)) {
    return completion(0, NSError::errorWithDomain(
                             QFSyncErrorDomain, 0,
                             {{NSLocalizedDescriptionKey, "Sync operation already in progress"}}));
  }
  if (!apiClient()) enableBackgroundSync();
  readChanged(run, [this, run, localSourceId, completion = std::move(completion)](
                       const std::optional<QFContactList>& contacts, const ErrorPtr& error) {
    if (error) {
      leave();
      return completion(0, error);
    }
    if (contacts->empty()) {
      leave();
      os_log_info(logger_, "No contacts need syncing");
      return completion(0, nullptr);
    }
    for (const QFContactPtr& contact : *contacts)
      contact->setSourceId(localSourceId);
    uploadBatch(run, std::make_shared<const QFContactList>(*contacts), 0, 0,
                [this, completion](std::int64_t count, const ErrorPtr& batchError) {
                  finishSync(count, batchError, completion);
                });
  });
}

void SyncEngine::finishSync(std::int64_t count, const ErrorPtr& error,
                            const CountCompletion& completion) {
  if (error) {
    os_log_error(logger_, "Sync failed: {}", error->localizedDescription());
  } else {
    os_log_info(logger_, "Sync completed: {} contacts processed", count);
  }
  completion(count, error);
}

void SyncEngine::getContactsForSyncWithCompletion(ContactsCompletion completion) {
  readChanged(nullptr, std::move(completion));
}

void SyncEngine::readChanged(const RunPtr& run, ContactsCompletion completion) {
  reader_->fetchContactsWithCompletion(
      [this, run, completion = std::move(completion)](const std::optional<QFContactList>& contacts,
                                                      const ErrorPtr& error) {
        if (error) return completion(std::nullopt, error);
        QFContactList changed;
        for (const QFContactPtr& contact : *contacts) {
          if (store_->hasContactChanged(*contact)) changed.push_back(contact);
        }
        if (run) {
          run->tally.read = std::ssize(*contacts);
          run->tally.skipped = Platform::current().contacts->skippedContacts();
          run->tally.toUpload = std::ssize(changed);
          run->tally.bookkeepingRead = store_->lastLoadError() == nullptr;
          tellProgress(run);
        }
        completion(std::move(changed), nullptr);
      });
}

void SyncEngine::syncBatch(QFContactList contacts, std::int64_t batchIndex,
                           std::int64_t processedCount, CountCompletion completion) {
  const RunPtr run = makeRun(std::stop_token());
  uploadBatch(run, std::make_shared<const QFContactList>(std::move(contacts)), batchIndex,
              processedCount,
              [this, run, completion = std::move(completion)](std::int64_t processed,
                                                              const ErrorPtr& error) {
                endRun(run.get());
                completion(processed, error);
              });
}

void SyncEngine::uploadBatch(const RunPtr& run,
                             const std::shared_ptr<const QFContactList>& contacts,
                             std::int64_t batchIndex, std::int64_t processedCount,
                             const CountCompletion& completion) {
  const std::int64_t size = batchSize();
  const auto count = static_cast<std::int64_t>(contacts->size());
  const auto range = nextBatch(count, size, batchIndex, Comparison::Unsigned);
  const auto end = [this, completion](std::int64_t processed, const ErrorPtr& error) {
    leave();
    completion(processed, error);
  };
  if (!range) return end(processedCount, nullptr);
  if (hasStopped(run, nullptr)) return end(processedCount, nullptr);
  const auto client = apiClient();
  // Only a host that starts a batch by itself can come before the client.
  if (const ErrorPtr problem = uploadProblem(client != nullptr, *range, size, batchIndex)) {
    return end(processedCount, problem);
  }
  const auto batch = slice(*contacts, *range);
  const std::int64_t next = sum(batchIndex, 1);
  const bool more = nextBatch(count, size, next, Comparison::Unsigned).has_value();
  os_log_info(logger_, "Processing batch {} of {} ({} contacts)", next, batchCount(count, size),
              range->length);
  client->syncContacts(
      batch, true,
      [this, run, contacts, batch, next, more, processedCount, completion, end](
          std::int64_t processed, const ErrorPtr& error) {
        if (error && hasStopped(run, error)) return end(processedCount, nullptr);
        if (error) return end(processedCount, error);
        // Skipped duplicates count as synced: the count is only reported.
        record(run, batch, more);
        uploadBatch(run, contacts, next, sum(processedCount, processed), completion);
      },
      controlOf(run));
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
