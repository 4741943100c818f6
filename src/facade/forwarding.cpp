// What the facade hands to its parts.
#include "api/api_client.h"
#include "contacts/contacts_authorization.h"
#include "facade/contact_service_parts.h"
#include "sync/local_batches.h"

namespace quillfold {

// The state.

bool QFContactService::isInitialized() const {
  return parts_->state->isReady();
}

std::int64_t QFContactService::state() const {
  return parts_->state->number();
}

std::string QFContactService::currentState() const {
  return parts_->state->description();
}

ErrorPtr QFContactService::lastError() const {
  return parts_->state->lastError();
}

OptionalString QFContactService::apiKey() const {
  return parts_->state->apiKey();
}

OptionalString QFContactService::token() const {
  return parts_->state->token();
}

QFUserInfoPtr QFContactService::userInfo() const {
  return parts_->state->userInfo();
}

QFQuillfoldOptionsPtr QFContactService::options() const {
  return parts_->state->options();
}

// What the facade was made with.

std::shared_ptr<QFContactsAuthorizationService> QFContactService::authorizationService() const {
  return parts_->authorization;
}

std::shared_ptr<CNContactStore> QFContactService::contactStore() const {
  return parts_->contactStore;
}

std::shared_ptr<QFEventWrapperService> QFContactService::eventWrapperService() const {
  return parts_->events;
}

OSLogPtr QFContactService::logger() const {
  return parts_->logger;
}

// The permission and the address book.

void QFContactService::requestContactsAccessWithCompletion(std::function<void(bool)> completion) {
  parts_->authorization->requestAccessWithCompletion(
      [authorization = parts_->authorization, completion = std::move(completion)](std::int64_t,
                                                                                  const ErrorPtr&) {
        if (completion) completion(authorization->hasContactsReadAccess());
      });
}

std::int64_t QFContactService::contactsAccessStatus() {
  return parts_->authorization->checkAccessStatus();
}

void QFContactService::fetchContactsWithCompletion(ContactsCompletion completion) {
  parts_->reader->fetchContactsWithCompletion(std::move(completion));
}

void QFContactService::fetchContactsWithFieldType(std::int64_t fieldType,
                                                  ContactsCompletion completion) {
  parts_->reader->fetchContactsWithFieldType(fieldType, std::move(completion));
}

void QFContactService::fetchContactsWithBatchSize(std::int64_t batchSize, std::int64_t batchIndex,
                                                  ContactsCompletion completion) {
  parts_->reader->fetchContactsWithBatchSize(batchSize, batchIndex, std::move(completion));
}

void QFContactService::fetchContactWithIdentifier(std::string identifier,
                                                  ContactCompletion completion) {
  parts_->reader->fetchContactWithIdentifier(std::move(identifier), std::move(completion));
}

void QFContactService::getContactsCountWithCompletion(CountCompletion completion) {
  parts_->reader->getContactsCountWithCompletion(std::move(completion));
}

std::vector<CNKeyDescriptor> QFContactService::keysToFetch() const {
  return parts_->reader->keysToFetch();
}

// The bookkeeping.

std::shared_ptr<SyncInfoDictionary> QFContactService::syncInfoCache() {
  return parts_->store->syncInfoCache();
}

void QFContactService::setSyncInfoCache(std::shared_ptr<SyncInfoDictionary> cache) {
  parts_->store->setSyncInfoCache(std::move(cache));
}

std::string QFContactService::syncInfoFilePath() {
  return parts_->store->syncInfoFilePath();
}

void QFContactService::setSyncInfoFilePath(std::string path) {
  parts_->store->setSyncInfoFilePath(std::move(path));
}

std::string QFContactService::defaultSyncInfoFilePath() {
  return SyncInfoStore::defaultSyncInfoFilePath();
}

std::shared_ptr<QFContactSyncInfo> QFContactService::syncInfoForContactId(
    const std::string& contactId) {
  return parts_->store->syncInfoForContactId(contactId);
}

std::shared_ptr<QFContactSyncInfo> QFContactService::saveSyncInfoForContact(
    const QFContact& contact) {
  return parts_->store->saveSyncInfoForContact(contact);
}

bool QFContactService::hasContactChanged(const QFContact& contact) {
  return parts_->store->hasContactChanged(contact);
}

void QFContactService::markContactAsDeleted(const std::string& contactId) {
  parts_->store->markContactAsDeleted(contactId);
}

SyncInfoList QFContactService::allSyncInfo() {
  return parts_->store->allSyncInfo();
}

SyncInfoList QFContactService::activeSyncInfo() {
  return parts_->store->activeSyncInfo();
}

void QFContactService::saveSyncInfoCache() {
  parts_->store->saveSyncInfoCache();
}

void QFContactService::loadSyncInfoCache() {
  parts_->store->loadSyncInfoCache();
}

void QFContactService::clearSyncInfoCache() {
  parts_->store->clearSyncInfoCache();
}

std::shared_ptr<QFContactSyncInfo> QFContactService::syncInfoForContact(const QFContact& contact) {
  return parts_->store->syncInfoForContact(contact);
}

// The sync.

void QFContactService::syncContacts(SuccessCompletion completion) {
  parts_->engine->syncContacts(std::move(completion));
}

void QFContactService::syncContactsToServerWithCompletion(SuccessCompletion completion) {
  parts_->engine->syncContactsToServerWithCompletion(std::move(completion));
}

void QFContactService::registerContactSourceWithCompletion(SuccessCompletion completion) {
  parts_->engine->registerContactSourceWithCompletion(std::move(completion));
}

void QFContactService::getContactsForSyncWithCompletion(ContactsCompletion completion) {
  parts_->engine->getContactsForSyncWithCompletion(std::move(completion));
}

void QFContactService::startSyncWithSourceId(std::string localSourceId, std::string userId,
                                             CountCompletion completion) {
  parts_->engine->startSyncWithSourceId(std::move(localSourceId), std::move(userId),
                                        std::move(completion));
}

void QFContactService::syncBatch(QFContactList contacts, std::int64_t batchIndex,
                                 std::int64_t processedCount, CountCompletion completion) {
  parts_->engine->syncBatch(std::move(contacts), batchIndex, processedCount, std::move(completion));
}

void QFContactService::cancelSync() {
  parts_->engine->cancelSync();
}

void QFContactService::processContactsInBatches(QFContactList contacts, std::int64_t batchSize,
                                                std::int64_t batchIndex,
                                                std::int64_t processedCount,
                                                CountCompletion completion) {
  quillfold::processContactsInBatches(std::move(contacts), batchSize, batchIndex, processedCount,
                                      std::move(completion));
}

void QFContactService::processBatch(const QFContactList& contacts, CountCompletion completion) {
  quillfold::processBatch(contacts, std::move(completion));
}

void QFContactService::enableBackgroundSync() {
  parts_->engine->enableBackgroundSync();
}

void QFContactService::scheduleBackgroundSyncTask() {
  parts_->engine->scheduleBackgroundSyncTask();
}

bool QFContactService::syncInProgress() const {
  return parts_->engine->syncInProgress();
}

std::int64_t QFContactService::batchSize() const {
  return parts_->engine->batchSize();
}

void QFContactService::setBatchSize(std::int64_t batchSize) {
  parts_->engine->setBatchSize(batchSize);
}

std::shared_ptr<QFAPIClient> QFContactService::apiClient() const {
  return parts_->engine->apiClient();
}

void QFContactService::checkHealthWithCompletion(std::function<void(bool)> completion) {
  QFAPIClient::sharedInstance()->checkHealthWithCompletion(std::move(completion));
}

SyncEngine& engineOf(QFContactService& service) {
  return *service.parts_->engine;
}

}  // namespace quillfold
