#include "facade/contact_service.h"

#include "api/api_client.h"
#include "contacts/contacts_authorization.h"
#include "core/defaults_keys.h"
#include "core/error.h"
#include "events/event_wrapper_service.h"
#include "foundation/format.h"
#include "foundation/json.h"
#include "platform/contact_store.h"
#include "platform/user_defaults.h"
#include "recommendations/recommendation_service.h"
#include "search/contact_search_service.h"
#include "social/social_service.h"
#include "sync/sync_info_archive.h"
#include "sync/sync_info_dictionary.h"

namespace quillfold {

namespace {

constexpr const char* kSubscriberIdentifier = "QFContactService";

// The one instance of a service, made on first use by a ready facade; it outlives
// a reset.
template <typename Service>
std::shared_ptr<Service> onlyInstance(const std::shared_ptr<QFContactService>& contactService) {
  static const auto* instance =
      new std::shared_ptr<Service>(Service::initWithContactService(contactService));
  return *instance;
}

template <typename Service>
std::shared_ptr<Service> serviceIfReady(const QFContactService& contactService, const char* name) {
  if (contactService.isInitialized()) {
    return onlyInstance<Service>(QFContactService::sharedInstance());
  }
  logLine("Attempting to access {} before ContactsService is initialized", name);
  return nullptr;
}

}  // namespace

const std::shared_ptr<QFContactService>& QFContactService::sharedInstance() {
  static const auto* instance = new std::shared_ptr<QFContactService>(new QFContactService);
  return *instance;
}

QFContactService::QFContactService()
    : options_(QFQuillfoldOptions::defaultOptions()),
      authorizationService_(QFContactsAuthorizationService::sharedInstance()),
      contactStore_(CNContactStore::create()),
      eventWrapperService_(QFEventWrapperService::sharedInstance()),
      logger_(os_log_create("com.quillfold", "ContactService")),
      syncInfoArchive_(std::make_unique<SyncInfoArchive>()) {
  subscribeToEvents();
}

void QFContactService::subscribeToEvents() {
  eventWrapperService_->subscribeToEvent(QFEventAppDidBecomeActive, kSubscriberIdentifier, [this] {
    syncIfAllowed("Failed to sync contacts when app became active: ");
  });
  eventWrapperService_->subscribeToEvent(
      QFEventContactStoreDidChange, kSubscriberIdentifier,
      [this] { syncIfAllowed("Failed to sync contacts after store change: "); });
  eventWrapperService_->subscribeToEvent(QFEventAppDidEnterBackground, kSubscriberIdentifier,
                                         [this] { scheduleBackgroundSyncTask(); });
  eventWrapperService_->startObserving();
}

void QFContactService::unsubscribeFromEvents() {
  for (const std::int64_t event :
       {QFEventAppDidBecomeActive, QFEventContactStoreDidChange, QFEventAppDidEnterBackground}) {
    eventWrapperService_->unsubscribeFromEvent(event, kSubscriberIdentifier);
  }
  eventWrapperService_->stopObserving();
}

void QFContactService::syncIfAllowed(const char* failureText) {
  if (!authorizationService_->hasContactsReadAccess() || !isInitialized()) return;
  syncContacts([failureText](bool success, const ErrorPtr& error) {
    if (!success) logLine("{}{}", failureText, error->localizedDescription());
  });
}

void QFContactService::checkHealthWithCompletion(std::function<void(bool)> completion) {
  QFAPIClient::sharedInstance()->checkHealthWithCompletion(std::move(completion));
}

void QFContactService::initializeWithAPIKey(std::string apiKey, std::string token,
                                            QFUserInfoPtr userInfo, QFQuillfoldOptionsPtr options,
                                            SuccessCompletion completion) {
  if (state_.exchange(QFContactServiceStateInitializing) == QFContactServiceStateInitializing) {
    NSLog("Initialization already in progress, ignoring duplicate call");
    if (completion) {
      completion(false, QFError::errorWithCode(QFErrorCodeInitializationInProgress,
                                               "Initialization already in progress"));
    }
    return;
  }
  storeCredentials(apiKey, token, userInfo);
  if (!options) options = QFQuillfoldOptions::defaultOptions();
  {
    const std::lock_guard lock(mutex_);
    options_ = options;
  }
  options->saveToUserDefaults();
  if (!userInfo || !userInfo->isValid()) {
    failInitialization(
        QFError::errorWithCode(QFErrorCodeInvalidUserInfo,
                               "User information is invalid. userId is required and either email "
                               "or phone must be provided."),
        completion);
    return;
  }
  saveUserInfo(*userInfo);
  // Before the client exists: it takes its user from what this writes, for good.
  persistUser(*userInfo, token);
  QFAPIClient::sharedInstance()->validateAPIKey(
      apiKey, token, userInfo,
      [this, apiKey, token, userInfo, completion](bool valid, const ErrorPtr& error) {
        if (valid) {
          finishInitialization(apiKey, token, userInfo, completion);
        } else {
          failInitialization(error, completion);
        }
      });
}

void QFContactService::finishInitialization(const std::string& apiKey, const std::string& token,
                                            const QFUserInfoPtr& userInfo,
                                            const SuccessCompletion& completion) {
  storeCredentials(apiKey, token, userInfo);
  state_ = QFContactServiceStateReady;
  if (authorizationService_->hasContactsReadAccess()) {
    syncContacts([](bool success, const ErrorPtr& error) {
      if (success) {
        NSLog("Initial contact sync completed successfully");
      } else {
        logLine("Initial contact sync failed: {}", error->localizedDescription());
      }
    });
  }
  if (completion) completion(true, nullptr);
}

void QFContactService::failInitialization(const ErrorPtr& error,
                                          const SuccessCompletion& completion) {
  {
    const std::lock_guard lock(mutex_);
    lastError_ = error;
  }
  state_ = QFContactServiceStateFailed;
  if (completion) completion(false, error);
}

void QFContactService::storeCredentials(OptionalString apiKey, OptionalString token,
                                        QFUserInfoPtr userInfo) {
  const std::lock_guard lock(mutex_);
  apiKey_ = std::move(apiKey);
  token_ = std::move(token);
  userInfo_ = std::move(userInfo);
}

void QFContactService::saveUserInfo(const QFUserInfo& userInfo) {
  Dictionary user{{"userId", userInfo.userId()}};
  setIfPresent(user, "email", userInfo.email());
  setIfPresent(user, "phone", userInfo.phone());
  setIfPresent(user, "fullName", userInfo.fullName());
  setIfPresent(user, "avatarUrl", userInfo.avatarUrl());
  setIfPresent(user, "metadata", userInfo.metadata());
  ErrorPtr error;
  auto json = NSJSONSerialization::dataWithJSONObject(user, &error);
  if (!json) {
    logLine("Failed to save user info to UserDefaults: {}", error->localizedDescription());
    return;
  }
  NSUserDefaults::standardUserDefaults().setObject(Data(std::move(*json)),
                                                   defaults_keys::kUserInfo);
  NSLog("User info saved to UserDefaults");
}

void QFContactService::persistUser(const QFUserInfo& userInfo, const std::string& token) {
  NSUserDefaults& defaults = NSUserDefaults::standardUserDefaults();
  defaults.setObject(userInfo.userId(), defaults_keys::kUserId);
  defaults.setObject(token, defaults_keys::kUserToken);
  if (userInfo.email()) defaults.setObject(*userInfo.email(), defaults_keys::kUserEmail);
  if (userInfo.phone()) defaults.setObject(*userInfo.phone(), defaults_keys::kUserPhone);
}

bool QFContactService::isInitialized() const {
  return state_ == QFContactServiceStateReady;
}

std::string QFContactService::currentState() const {
  switch (state_) {
    case QFContactServiceStateInitializing:
      return "Initializing";
    case QFContactServiceStateReady:
      return "Ready";
    case QFContactServiceStateFailed: {
      const ErrorPtr error = lastError();
      return "Failed: " + (error ? error->localizedDescription() : std::string());
    }
    default:
      return "Not initialized";
  }
}

void QFContactService::resetWithCompletion(SuccessCompletion completion) {
  // Claimed in one step, so that an initialisation on another thread is not undone.
  std::int64_t ready = QFContactServiceStateReady;
  if (state_.compare_exchange_strong(ready, QFContactServiceStateNotInitialized)) {
    unsubscribeFromEvents();
    storeCredentials(std::nullopt, std::nullopt, nullptr);
    NSLog("Quillfold reset completed");
  }
  if (completion) completion(true, nullptr);
}

std::shared_ptr<QFSocialService> QFContactService::socialService() {
  return serviceIfReady<QFSocialService>(*this, "socialService");
}

std::shared_ptr<QFRecommendationService> QFContactService::recommendationService() {
  return serviceIfReady<QFRecommendationService>(*this, "recommendationService");
}

std::shared_ptr<QFContactSearchService> QFContactService::searchService() {
  return serviceIfReady<QFContactSearchService>(*this, "searchService");
}

void QFContactService::requestContactsAccessWithCompletion(std::function<void(bool)> completion) {
  authorizationService_->requestAccessWithCompletion(
      [this, completion = std::move(completion)](std::int64_t, const ErrorPtr&) {
        if (completion) completion(authorizationService_->hasContactsReadAccess());
      });
}

std::int64_t QFContactService::contactsAccessStatus() {
  return authorizationService_->checkAccessStatus();
}

OptionalString QFContactService::apiKey() const {
  const std::lock_guard lock(mutex_);
  return apiKey_;
}

OptionalString QFContactService::token() const {
  const std::lock_guard lock(mutex_);
  return token_;
}

QFUserInfoPtr QFContactService::userInfo() const {
  const std::lock_guard lock(mutex_);
  return userInfo_;
}

QFQuillfoldOptionsPtr QFContactService::options() const {
  const std::lock_guard lock(mutex_);
  return options_;
}

ErrorPtr QFContactService::lastError() const {
  const std::lock_guard lock(mutex_);
  return lastError_;
}

std::shared_ptr<QFAPIClient> QFContactService::apiClient() const {
  const std::lock_guard lock(mutex_);
  return apiClient_;
}

}  // namespace quillfold
