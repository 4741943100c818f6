// How a client comes into being, and its token.
#include "api/api_client.h"
#include "api/api_config.h"
#include "api/api_error.h"
#include "api/request.h"
#include "api/response.h"
#include "core/defaults_keys.h"
#include "core/device_identifier.h"
#include "foundation/json.h"
#include "foundation/uuid.h"
#include "platform/clock.h"
#include "platform/user_defaults.h"

namespace quillfold {

namespace {

// The client's own; the limits of QFAPIConfig are for hosts.
constexpr double kTimeoutSeconds = 60.0;
constexpr int kTokenLifetimeSeconds = 86400;

std::shared_ptr<NSURLSession> makeSession() {
  auto configuration = NSURLSessionConfiguration::defaultSessionConfiguration();
  configuration.timeoutIntervalForRequest = kTimeoutSeconds;
  configuration.timeoutIntervalForResource = kTimeoutSeconds;
  return NSURLSession::sessionWithConfiguration(configuration);
}

// The user that the facade stored; absent if there is none or it can't be read.
std::optional<Value> storedUserInfo() {
  const auto bytes = NSUserDefaults::standardUserDefaults().dataForKey(defaults_keys::kUserInfo);
  return bytes ? NSJSONSerialization::JSONObjectWithData(bytes->bytes()) : std::nullopt;
}

}  // namespace

const std::shared_ptr<QFAPIClient>& QFAPIClient::sharedInstance() {
  static const auto* instance = [] {
    auto userId = NSUserDefaults::standardUserDefaults().stringForKey(defaults_keys::kUserId);
    // A made-up user is stored nowhere, and the client keeps it for good.
    return new std::shared_ptr(initWithUserId(userId ? *userId : NSUUID::UUIDString()));
  }();
  return *instance;
}

std::shared_ptr<QFAPIClient> QFAPIClient::initWithUserId(std::string userId) {
  return initWithUserId(std::move(userId), nullptr);
}

std::shared_ptr<QFAPIClient> QFAPIClient::initWithUserId(std::string userId,
                                                         QFDeviceInfoPtr deviceInfo) {
  return std::shared_ptr<QFAPIClient>(new QFAPIClient(std::move(userId), std::move(deviceInfo)));
}

QFAPIClient::QFAPIClient(std::string userId, QFDeviceInfoPtr deviceInfo)
    : deviceInfo_(deviceInfo ? std::move(deviceInfo) : QFDeviceInfo::init()),
      userId_(std::move(userId)),
      session_(makeSession()) {}

OptionalString QFAPIClient::token() const {
  const std::lock_guard lock(mutex_);
  return token_;
}

std::optional<NSDate> QFAPIClient::tokenExpiryDate() const {
  const std::lock_guard lock(mutex_);
  return tokenExpiryDate_;
}

void QFAPIClient::setToken(OptionalString token) {
  const std::lock_guard lock(mutex_);
  token_ = std::move(token);
}

void QFAPIClient::setTokenExpiryDate(std::optional<NSDate> date) {
  const std::lock_guard lock(mutex_);
  tokenExpiryDate_ = date;
}

std::string QFAPIClient::userId() const {
  const std::lock_guard lock(mutex_);
  return userId_;
}

void QFAPIClient::setUserId(std::string userId) {
  const std::lock_guard lock(mutex_);
  userId_ = std::move(userId);
}

std::shared_ptr<NSURLSession> QFAPIClient::session() const {
  const std::lock_guard lock(mutex_);
  return session_;
}

void QFAPIClient::setSession(std::shared_ptr<NSURLSession> session) {
  const std::lock_guard lock(mutex_);
  session_.swap(session);
}

std::shared_ptr<QFContactService> QFAPIClient::contactService() const {
  const std::lock_guard lock(mutex_);
  return contactService_.lock();
}

void QFAPIClient::setContactService(const std::shared_ptr<QFContactService>& contactService) {
  const std::lock_guard lock(mutex_);
  contactService_ = contactService;
}

std::string QFAPIClient::deviceIdentifier() const {
  return storedDeviceIdentifier();
}

std::string QFAPIClient::fullSourceIdentifier() const {
  return localSourceIdentifier();
}

void QFAPIClient::refreshTokenWithCompletionHandler(TokenCompletion completion,
                                                    const RequestControl& control) {
  OptionalString cached;
  {
    const std::lock_guard lock(mutex_);
    if (token_ && tokenExpiryDate_ && *tokenExpiryDate_ > currentDate()) cached = token_;
  }
  if (cached) {
    completion(cached, nullptr);
    return;
  }
  const std::string user = userId();
  Dictionary body{{"user_id", user},
                  {"device_info", deviceInfo_->asDictionary()},
                  {"expiry_seconds", kTokenLifetimeSeconds}};
  setIfPresent(body, "user_info", storedUserInfo());
  // No credential: the user and the device are named, nothing is proved.
  auto request = jsonPost(QFAPIConfig::tokenEndpoint(), std::move(body));
  if (!request) {
    return failOnMain(completion, QFAPIError::errorWithCode(QFAPIErrorCodeDecoding));
  }
  run(
      std::move(*request),
      [this, user, completion](const URLResult& result) { readToken(result, user, completion); },
      control);
}

void QFAPIClient::readToken(const URLResult& result, const std::string& user,
                            const TokenCompletion& completion) {
  if (const ErrorPtr error = transportFailureOf(result)) return failOnMain(completion, error);
  ErrorPtr error;
  const auto data = readPayload(result, error);
  if (!data) return failOnMain(completion, error);
  const Value* token = entry(*data, "token");
  const Value* expiresAt = entry(*data, "expires_at");
  if (token == nullptr || expiresAt == nullptr) {
    return failOnMain(completion, QFAPIError::errorWithCode(QFAPIErrorCodeDecoding));
  }
  const std::string text = token->description();
  {
    const std::lock_guard lock(mutex_);
    // Not kept for the next user, who may have come meanwhile.
    if (userId_ == user) {
      token_ = text;
      tokenExpiryDate_ = NSDate::dateWithTimeIntervalSince1970(expiresAt->doubleValue());
    }
  }
  completeOnMain(completion, text);
}

}  // namespace quillfold
