// The life of the facade: its start, its end, and the events between.
#include "facade/contact_service.h"

#include "api/api_client.h"
#include "contacts/contacts_authorization.h"
#include "core/defaults_keys.h"
#include "core/error.h"
#include "events/event_wrapper_service.h"
#include "facade/contact_service_parts.h"
#include "foundation/json.h"
#include "platform/contact_store.h"
#include "platform/log_line.h"
#include "platform/user_defaults.h"

namespace quillfold {

namespace {

constexpr const char* kSubscriberIdentifier = "QFContactService";

void persistUser(const QFUserInfo& userInfo, const std::string& token) {
  NSUserDefaults& defaults = NSUserDefaults::standardUserDefaults();
  defaults.setObject(userInfo.userId(), defaults_keys::kUserId);
  defaults.setObject(token, defaults_keys::kUserToken);
  if (userInfo.email()) defaults.setObject(*userInfo.email(), defaults_keys::kUserEmail);
  if (userInfo.phone()) defaults.setObject(*userInfo.phone(), defaults_keys::kUserPhone);
}

// The end of an initialisation that comes to nothing.
void fail(ServiceState& state, const ErrorPtr& error, const SuccessCompletion& completion) {
  state.fail(error);
  if (completion) completion(false, error);
}

// The sync that an event starts.
void syncIfAllowed(QFContactService& service, const char* failureText) {
  if (!service.authorizationService()->hasContactsReadAccess() || !service.isInitialized()) return;
  engineOf(service).syncContacts(
      [failureText](bool success, const ErrorPtr& error) {
        if (!success) logLine("{}{}", failureText, error->localizedDescription());
      },
      SyncEngine::Starter::Library);
}

void startInitialSync(QFContactService& service) {
  engineOf(service).syncContacts(
      [](bool success, const ErrorPtr& error) {
        if (success) {
          NSLog("Initial contact sync completed successfully");
        } else {
          logLine("Initial contact sync failed: {}", error->localizedDescription());
        }
      },
      SyncEngine::Starter::Library);
}

}  // namespace

// The order is that of the start, which the first call from outside can observe.
QFContactService::Parts::Parts()
    : authorization(QFContactsAuthorizationService::sharedInstance()),
      contactStore(CNContactStore::create()),
      state(std::make_shared<ServiceState>()),
      events(QFEventWrapperService::sharedInstance()),
      logger(os_log_create("com.quillfold", "ContactService")),
      reader(std::make_shared<ContactReader>(contactStore, authorization, state)),
      store(std::make_shared<SyncInfoStore>(logger)),
      engine(std::make_unique<SyncEngine>(
          reader, store, [](QFAPIClient& client) { client.setContactService(sharedInstance()); },
          logger)) {}

const std::shared_ptr<QFContactService>& QFContactService::sharedInstance() {
  static const auto* instance = new std::shared_ptr<QFContactService>(new QFContactService);
  return *instance;
}

QFContactService::QFContactService() : parts_(std::make_unique<Parts>()) {
  subscribeToEvents();
}

QFContactService::~QFContactService() = default;

void QFContactService::subscribeToEvents() {
  QFEventWrapperService& events = *parts_->events;
  events.subscribeToEvent(QFEventAppDidBecomeActive, kSubscriberIdentifier, [this] {
    syncIfAllowed(*this, "Failed to sync contacts when app became active: ");
  });
  events.subscribeToEvent(QFEventContactStoreDidChange, kSubscriberIdentifier, [this] {
    syncIfAllowed(*this, "Failed to sync contacts after store change: ");
  });
  events.subscribeToEvent(QFEventAppDidEnterBackground, kSubscriberIdentifier,
                          [this] { scheduleBackgroundSyncTask(); });
  events.startObserving();
}

void QFContactService::unsubscribeFromEvents() {
  for (const std::int64_t event :
       {QFEventAppDidBecomeActive, QFEventContactStoreDidChange, QFEventAppDidEnterBackground}) {
    parts_->events->unsubscribeFromEvent(event, kSubscriberIdentifier);
  }
  parts_->events->stopObserving();
}

void QFContactService::initializeWithAPIKey(std::string apiKey, std::string token,
                                            QFUserInfoPtr userInfo, QFQuillfoldOptionsPtr options,
                                            SuccessCompletion completion) {
  ServiceState& state = *parts_->state;
  if (!state.beginInitialization()) {
    NSLog("Initialization already in progress, ignoring duplicate call");
    if (completion) {
      completion(false, QFError::errorWithCode(QFErrorCodeInitializationInProgress,
                                               "Initialization already in progress"));
    }
    return;
  }
  state.setCredentials(apiKey, token, userInfo);
  if (!options) options = QFQuillfoldOptions::defaultOptions();
  state.setOptions(options);
  options->saveToUserDefaults();
  if (!userInfo || !userInfo->isValid()) {
    return fail(
        state,
        QFError::errorWithCode(QFErrorCodeInvalidUserInfo,
                               "User information is invalid. userId is required and either email "
                               "or phone must be provided."),
        completion);
  }
  saveUserInfo(*userInfo);
  // Before the client exists: it takes its user from what this writes, for good.
  persistUser(*userInfo, token);
  QFAPIClient::sharedInstance()->validateAPIKey(
      apiKey, token, userInfo,
      [this, &state, apiKey, token, userInfo, completion = std::move(completion)](
          bool valid, const ErrorPtr& error) {
        if (!valid) return fail(state, error, completion);
        state.setCredentials(apiKey, token, userInfo);
        state.becomeReady();
        if (parts_->authorization->hasContactsReadAccess()) startInitialSync(*this);
        if (completion) completion(true, nullptr);
      });
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
    logLine("Failed to save user info to UserDefaults: {}", error->description());
    return;
  }
  NSUserDefaults::standardUserDefaults().setObject(Data(std::move(*json)),
                                                   defaults_keys::kUserInfo);
  NSLog("User info saved to UserDefaults");
}

void QFContactService::resetWithCompletion(SuccessCompletion completion) {
  if (parts_->state->beginReset()) {
    unsubscribeFromEvents();
    if (parts_->state->completeReset()) NSLog("Quillfold reset completed");
  }
  if (completion) completion(true, nullptr);
}

void forgetFailure(QFContactService& service) {
  if (service.state() != QFContactServiceStateFailed) return;
  service.unsubscribeFromEvents();
  service.parts_->state->setCredentials({}, {}, nullptr);
}

}  // namespace quillfold
