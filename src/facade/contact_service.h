// The facade of the library.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "contacts/completions.h"
#include "core/options.h"
#include "core/service_state.h"
#include "core/user_info.h"
#include "foundation/export.h"
#include "platform/contacts.h"
#include "platform/log.h"

namespace quillfold {

class CNContactStore;
class QFAPIClient;
class QFContactSearchService;
class QFContactsAuthorizationService;
class QFContactSyncInfo;
class QFEventWrapperService;
class QFRecommendationService;
class QFSocialService;
class SyncEngine;
class SyncInfoDictionary;

using SyncInfoList = std::vector<std::shared_ptr<QFContactSyncInfo>>;

// The one object that a host talks to first: lifecycle, permission, reading the
// device's contacts, syncing them to the backend, and the way to the other
// services.
//
// A process-wide singleton that is never destroyed. Operations may be called from
// any thread; each says where its completion runs. Unless told otherwise a
// completion may be an empty function and is called exactly once.
class QUILLFOLD_EXPORT QFContactService {
 public:
  // The first call creates the service, subscribes it to system events and
  // starts observing them.
  static const std::shared_ptr<QFContactService>& sharedInstance();

  ~QFContactService();
  QFContactService(const QFContactService&) = delete;
  QFContactService& operator=(const QFContactService&) = delete;

  // === What a host needs =======================================================

  // --- Lifecycle -----------------------------------------------------------

  // Asks the backend's health endpoint. The completion runs on the main queue with
  // whether the backend says that it is well. Works in any state, but makes the shared
  // client, which keeps the user stored at that moment for good: before the first
  // initialisation there is none, and the client makes one up.
  static void checkHealthWithCompletion(std::function<void(bool healthy)> completion);

  // Persists the options and the user, validates the key with the backend, and
  // on success starts a first sync if contacts may be read. The completion does
  // not wait for that sync. `options` may be absent.
  //
  // Fails with QFErrorDomain 1003 while another initialisation is under way and
  // 1008 for an absent or invalid user, both synchronously on the caller's
  // thread; else with the error of the validation (QFAPIErrorDomain) on the main
  // queue, or synchronously for an empty key.
  void initializeWithAPIKey(std::string apiKey, std::string token, QFUserInfoPtr userInfo,
                            QFQuillfoldOptionsPtr options, SuccessCompletion completion);

  // Whether the state is ready.
  bool isInitialized() const;
  // A number of QFContactServiceState.
  std::int64_t state() const;
  // The state as a text.
  std::string currentState() const;
  // The error behind the last failed initialisation; never cleared.
  ErrorPtr lastError() const;

  // Leaves the ready state: no more events, no key, token and user. What was
  // persisted stays, and so does the bookkeeping. In any other state nothing
  // happens, and an initialisation that begins meanwhile keeps what it has set. The
  // completion runs before the call returns, always with success.
  // After a reset no later initialisation brings the events back.
  void resetWithCompletion(SuccessCompletion completion);

  // Each is absent, with a log line, unless the state is ready. Always the same
  // instance. Defined beside the services.
  std::shared_ptr<QFSocialService> socialService();
  std::shared_ptr<QFRecommendationService> recommendationService();
  std::shared_ptr<QFContactSearchService> searchService();

  // --- Permission ----------------------------------------------------------

  // Asks the user if nothing has been decided yet. The completion runs on the
  // main queue with whether contacts may be read.
  void requestContactsAccessWithCompletion(std::function<void(bool granted)> completion);
  // A number of QFContactsAuthorizationStatus.
  std::int64_t contactsAccessStatus();

  // --- Reading the device's contacts ---------------------------------------
  //
  // All fail with QFErrorDomain 1005 unless the state is ready and 1006 without
  // permission, both synchronously on the caller's thread. Otherwise the store is
  // read on a global queue and the completion runs on the main queue; a failing
  // store gives 1004, with the store's error underneath where it gave one.

  // Every contact of every container, in the store's order. The note is read
  // only if the options ask for it.
  void fetchContactsWithCompletion(ContactsCompletion completion);
  // The contacts that have the field (a QFContactFieldType), read with that field, the
  // names, the work, the type and the pictures. All contacts for QFContactFieldTypeAll,
  // with everything but the note, and for an unknown number, without a further field.
  void fetchContactsWithFieldType(std::int64_t fieldType, ContactsCompletion completion);
  // One page; an empty one beyond the end. Always reads the note, whatever the
  // options say. Each page costs a read of the whole store.
  void fetchContactsWithBatchSize(std::int64_t batchSize, std::int64_t batchIndex,
                                  ContactsCompletion completion);
  // One contact, always with the note.
  void fetchContactWithIdentifier(std::string identifier, ContactCompletion completion);
  // The number of contacts in the default container only.
  void getContactsCountWithCompletion(CountCompletion completion);

  // --- Sync ------------------------------------------------------------------

  // Registers this device as a contact source and uploads what has changed since
  // the last upload, batch by batch. The completion runs on the main queue once
  // all is done; synchronously with QFErrorDomain 1005 or 1006 if the service is
  // not ready or contacts may not be read. Also fails with 1010 without a user
  // id, QFSyncErrorDomain 0 while another sync runs, and the errors of reading,
  // registering and uploading. After the backend's duplicate answer what fails at
  // once comes on the session's thread: a client without a link to this service
  // (QFAPIErrorDomain 3, status 500), and what startSyncWithSourceId reports inside
  // the call.
  void syncContacts(SuccessCompletion completion);
  // The contacts that a sync would upload now, on the main queue; the errors are
  // those of fetchContactsWithCompletion. The completion is required.
  void getContactsForSyncWithCompletion(ContactsCompletion completion);
  // Cancels the requests in flight of a running sync, which then fails. Without
  // one it only logs.
  void cancelSync();
  bool syncInProgress() const;
  // Connects the shared API client with this service, in both directions. Until
  // it has run the client can't answer the backend's "source exists already".
  void enableBackgroundSync();
  // Contacts per upload, 20 at first. Not limited: with 0, unless
  // enableBackgroundSync repairs it, a sync uploads empty batches without an end.
  std::int64_t batchSize() const;
  void setBatchSize(std::int64_t batchSize);

  // --- Bookkeeping: what was uploaded --------------------------------------
  //
  // One dictionary in memory, mirrored as a whole to one file. No operation
  // reports a failure; each ends in a log line and leaves the dictionary as it
  // was.

  // All records, deleted ones included, in no particular order.
  SyncInfoList allSyncInfo();
  // The records that are not deleted, by `displayNameForSort`.
  SyncInfoList activeSyncInfo();
  // Whether the contact's hash differs from the one of its last upload.
  bool hasContactChanged(const QFContact& contact);
  // Empties the dictionary and removes the file.
  void clearSyncInfoCache();

  // === Public for completeness =================================================
  //
  // The steps of the operations above and what they work on.

  // Stores the user as JSON in the user defaults.
  void saveUserInfo(const QFUserInfo& userInfo);
  void subscribeToEvents();
  void unsubscribeFromEvents();

  // The keys that fetchContactsWithCompletion would use now.
  std::vector<CNKeyDescriptor> keysToFetch() const;

  // The dictionary from contact identifier to record; never null.
  std::shared_ptr<SyncInfoDictionary> syncInfoCache();
  void setSyncInfoCache(std::shared_ptr<SyncInfoDictionary> cache);
  // Where the file is. A changed path is used from the next save on and loads
  // nothing.
  std::string syncInfoFilePath();
  void setSyncInfoFilePath(std::string path);
  // "AppFrameworks/Quillfold/contact_sync_info.plist" in the application support
  // directory; makes the folder.
  std::string defaultSyncInfoFilePath();
  // The record, made, dirty and without a hash, if there is none. Never null.
  std::shared_ptr<QFContactSyncInfo> syncInfoForContactId(const std::string& contactId);
  // Records the contact as uploaded now and writes the file.
  std::shared_ptr<QFContactSyncInfo> saveSyncInfoForContact(const QFContact& contact);
  // Marks the record deleted and dirty, and writes the file.
  void markContactAsDeleted(const std::string& contactId);
  void saveSyncInfoCache();
  // Reads the file unless the dictionary holds a record already.
  void loadSyncInfoCache();
  // A record that a host has put into the user defaults, archived by KeyedArchiver, under
  // "com.quillfold.syncinfo." and the contact's identifier; else null, with a log line
  // where it can't be read. Not the bookkeeping of the sync.
  std::shared_ptr<QFContactSyncInfo> syncInfoForContact(const QFContact& contact);

  // syncContacts without registration. A missing user id (1010), a sync that runs
  // already, and the failures of reading that are known at once come inside the
  // call.
  void syncContactsToServerWithCompletion(SuccessCompletion completion);
  // Registers this device as a contact source. The completion runs on the main
  // queue, on the session's thread after the backend's duplicate answer, success
  // included, and inside the call for a missing user id (QFErrorDomain 1010). Also
  // fails with the client's errors (QFAPIErrorDomain).
  void registerContactSourceWithCompletion(SuccessCompletion completion);
  // The upload proper. `userId` is not used. The completion is required, runs on
  // the main queue, and has the number of contacts that the backend has processed.
  // QFSyncErrorDomain 0 (a sync runs already), 1005 and 1006 come inside the call;
  // the other errors are those of reading and uploading.
  void startSyncWithSourceId(std::string localSourceId, std::string userId,
                             CountCompletion completion);
  // Uploads and records one batch, then the next. The completion is required; it
  // fails with QFErrorDomain 1005 before enableBackgroundSync has run, and with
  // QFSyncErrorDomain 1 for a negative `batchSize`.
  void syncBatch(QFContactList contacts, std::int64_t batchIndex, std::int64_t processedCount,
                 CountCompletion completion);
  // Runs a sync at once, without registration; schedules nothing, despite the
  // name. The outcome is logged.
  void scheduleBackgroundSyncTask();
  // Walks the contacts in batches and stamps `lastSyncedAt`; nothing is sent or
  // recorded. The completion is required and runs before the call returns. Raises
  // NSException for a batch size of 0 and for a range outside the contacts.
  void processContactsInBatches(QFContactList contacts, std::int64_t batchSize,
                                std::int64_t batchIndex, std::int64_t processedCount,
                                CountCompletion completion);
  void processBatch(const QFContactList& contacts, CountCompletion completion);

  // Never true and never read; isInitialized looks at the state.
  bool initialized() const { return false; }
  // As passed to the initialisation; absent after a reset.
  OptionalString apiKey() const;
  OptionalString token() const;
  QFUserInfoPtr userInfo() const;
  QFQuillfoldOptionsPtr options() const;
  std::shared_ptr<QFContactsAuthorizationService> authorizationService() const;
  std::shared_ptr<CNContactStore> contactStore() const;
  std::shared_ptr<QFEventWrapperService> eventWrapperService() const;
  // Absent until enableBackgroundSync has run.
  std::shared_ptr<QFAPIClient> apiClient() const;
  OSLogPtr logger() const;

 private:
  QFContactService();

  struct Parts;
  friend SyncEngine& engineOf(QFContactService& service);
  friend void forgetFailure(QFContactService& service);
  const std::unique_ptr<Parts> parts_;
};

}  // namespace quillfold
