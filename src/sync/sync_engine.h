// Sending the changed contacts to the backend, batch by batch.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "contacts/completions.h"
#include "platform/log.h"

namespace quillfold {

class ContactReader;
class QFAPIClient;
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

  void syncContacts(SuccessCompletion completion);
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

  bool syncInProgress() const { return syncInProgress_; }
  std::int64_t batchSize() const { return batchSize_; }
  void setBatchSize(std::int64_t batchSize) { batchSize_ = batchSize; }
  // Absent until enableBackgroundSync has run.
  std::shared_ptr<QFAPIClient> apiClient() const;

 private:
  void syncReadContacts(const std::optional<QFContactList>& contacts, const ErrorPtr& error,
                        const SuccessCompletion& completion);
  // One batch of syncBatch; the list is shared by all of them.
  void uploadBatch(const std::shared_ptr<const QFContactList>& contacts, std::int64_t batchIndex,
                   std::int64_t processedCount, const CountCompletion& completion);
  void finishSync(std::int64_t count, const ErrorPtr& error, const CountCompletion& completion);

  const std::shared_ptr<ContactReader> reader_;
  const std::shared_ptr<SyncInfoStore> store_;
  const ClientLink linkClient_;
  const OSLogPtr logger_;

  std::atomic<bool> syncInProgress_ = false;
  std::atomic<std::int64_t> batchSize_ = 20;

  // Guards the client; never held while calling out.
  mutable std::mutex mutex_;
  std::shared_ptr<QFAPIClient> apiClient_;
};

}  // namespace quillfold
