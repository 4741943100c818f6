#include "account/account_session.h"

#include "account/change_watch.h"
#include "account/user_records.h"
#include "api/api_error.h"
#include "core/defaults_keys.h"
#include "facade/contact_service_parts.h"
#include "foundation/json.h"
#include "platform/background_tasks.h"
#include "platform/clock.h"
#include "platform/platform.h"
#include "platform/user_defaults.h"
#include "recommendations/recommendation_service.h"
#include "social/social_service.h"
#include "sync/sync_engine.h"

namespace quillfold {

namespace {

constexpr std::int64_t kMostContactsPerUpload = 1000;
// No operation sends more requests one behind the other; between two of them none is seen.
constexpr int kMostRequestsInARow = 4;

std::atomic<bool> anyOpen = false;

// What stands where only one account at a time may be.
struct Place {
  std::mutex mutex;
  std::weak_ptr<AccountSession> session;
  std::weak_ptr<void> homeLock;

  static Place& only() {
    static auto* place = new Place;
    return *place;
  }
};

[[noreturn]] void refuse(AccountErrorCode code, const std::string& text) {
  throw Failure(AccountErrorDomain, code, text);
}

// Also for runs that nobody asked for, and nobody asks again: the next one gets another.
void dropRefusedToken(const SyncTally&, const ErrorPtr& error) {
  if (error && refusesToken(Failure::fromError(*error))) {
    QFAPIClient::sharedInstance()->setToken(std::nullopt);
  }
}

// Ends with false at the stop, as long as the returned object is there.
std::shared_ptr<void> falseAt(const std::stop_token& stop, const Ending<bool>& ending) {
  using Stopper = std::stop_callback<std::function<void()>>;
  return std::make_shared<Stopper>(stop, [ending] { ending(false); });
}

// Ends when the other one does, however that does.
Operation<void> endOf(const Operation<void>& operation) {
  const Ending<void> ending;
  operation.then([ending](const Result<void>&) { ending(std::monostate()); });
  return Operation<void>(ending);
}

OptionalString orAbsent(const std::string& text) {
  return text.empty() ? std::nullopt : OptionalString(text);
}

QFUserInfoPtr userInfoOf(const AccountUser& user) {
  return QFUserInfo::initWithUserId(user.id, orAbsent(user.fullName), orAbsent(user.email),
                                    orAbsent(user.phone), orAbsent(user.avatarUrl), user.metadata);
}

void check(const AccountConfiguration& configuration) {
  const auto& [apiKey, token, user, readNotes, batchSize, onChange] = configuration;
  if (apiKey.empty()) refuse(AccountErrorCodeInvalidConfiguration, "apiKey is empty");
  if (user.id.empty()) refuse(AccountErrorCodeInvalidConfiguration, "user.id is empty");
  if (user.email.empty() && user.phone.empty()) {
    refuse(AccountErrorCodeInvalidConfiguration, "user has neither email nor phone");
  }
  if (user.metadata && !NSJSONSerialization::dataWithJSONObject(*user.metadata)) {
    refuse(AccountErrorCodeInvalidConfiguration, "user.metadata can't be expressed as JSON");
  }
  if (batchSize < 1 || batchSize > kMostContactsPerUpload) {
    refuse(AccountErrorCodeInvalidConfiguration, "batchSize is not from 1 to 1000");
  }
}

std::shared_ptr<void> lockHome() {
  FileManager& files = *Platform::current().files;
  // The folder of the bookkeeping, which this makes.
  std::string path = QFContactService::sharedInstance()->defaultSyncInfoFilePath();
  path.resize(path.rfind('/'));
  ErrorPtr error = files.createDirectoryAtPath(path);
  if (error) throw Failure::fromError(*error);
  auto lock = files.lockFileAtPath(path + "/account.lock", &error);
  if (lock) return lock;
  if (error->code() != NSFileLockingError) throw Failure::fromError(*error);
  refuse(AccountErrorCodeHomeInUse, error->localizedDescription());
}

}  // namespace

bool refusesToken(const Failure& failure) {
  if (failure.domain() != QFAPIErrorDomain) return false;
  return failure.code() == QFAPIErrorCodeUnauthorized ||
         failure.code() == QFAPIErrorCodeTokenExpired ||
         (failure.code() == QFAPIErrorCodeServer &&
          (failure.statusCode() == 401 || failure.statusCode() == 403));
}

AccountSession::AccountSession(AccountConfiguration configuration, std::shared_ptr<void> homeLock)
    : configuration_(std::move(configuration)),
      homeLock_(std::move(homeLock)),
      totals_(RunTotals::of(engine())),
      refusals_(engine().watch({.progress = {}, .ended = &dropRefusedToken})) {}

std::shared_ptr<AccountSession> AccountSession::claim(AccountConfiguration configuration) {
  check(configuration);
  if (anyOpen.exchange(true)) {
    refuse(AccountErrorCodeAlreadyOpen, "An account is open; close it before the next");
  }
  Place& place = Place::only();
  try {
    // A run that the last account has left may hold it still.
    std::unique_lock lock(place.mutex);
    auto homeLock = place.homeLock.lock();
    lock.unlock();
    if (!homeLock) homeLock = lockHome();
    const std::shared_ptr<AccountSession> session(
        new AccountSession(std::move(configuration), homeLock));
    lock.lock();
    place.homeLock = homeLock;
    place.session = session;
    return session;
  } catch (...) {
    anyOpen = false;
    throw;
  }
}

std::shared_ptr<AccountSession> AccountSession::current() {
  Place& place = Place::only();
  const std::lock_guard lock(place.mutex);
  const auto session = place.session.lock();
  return session && session->isOpen() ? session : nullptr;
}

void AccountSession::runTask(const std::shared_ptr<BGTask>& task) {
  const auto session = current();
  if (!session) return task->setTaskCompletedWithSuccess(false);
  const std::stop_source expiry;
  task->setExpirationHandler([expiry]() mutable { expiry.request_stop(); });
  Account(session)
      .sync({.progress = {}, .stop = expiry.get_token()})
      .then([task](const Result<SyncReport>& report) {
        task->setTaskCompletedWithSuccess(report && !report->stopped);
      });
}

AccountSession::~AccountSession() {
  beginClosing();
  shut();
}

SyncEngine& AccountSession::engine() const {
  return engineOf(service());
}

// The facade gives its services only while it is ready; an open account's is, but for the
// moment of a reset from outside.
QFRecommendationService& AccountSession::recommendations() const {
  const auto service = this->service().recommendationService();
  if (!service) refuse(AccountErrorCodeClosed, "The account is closed");
  return *service;
}

QFSocialService& AccountSession::social() const {
  const auto service = this->service().socialService();
  if (!service) refuse(AccountErrorCodeClosed, "The account is closed");
  return *service;
}

void AccountSession::requireOpen() const {
  if (!open_) refuse(AccountErrorCodeClosed, "The account is closed");
}

void AccountSession::beginClosing() {
  closing_.request_stop();
  stopLibraryRuns();
}

void AccountSession::stopLibraryRuns() {
  std::stop_source ended;
  {
    const std::lock_guard lock(mutex_);
    if (!open_) return;
    if (closing_.stop_requested()) ended = closing_;
    std::swap(libraryRuns_, ended);
    setStops();
  }
  ended.request_stop();
}

// A stop of one of the account's syncs is none of the host's own runs; the closing is.
void AccountSession::setStops() {
  engine().setStops({.ofHost = closing_.get_token(), .ofLibrary = libraryRuns_.get_token()});
}

void AccountSession::shut() {
  {
    const std::lock_guard lock(mutex_);
    if (!open_.exchange(false)) return;
  }
  service().resetWithCompletion({});
  forgetFailure(service());
  engine().setStops({});
  if (!engine().isIdle()) {
    engine().whenEnded(SyncEngine::Runs::All, [homeLock = homeLock_] {});
  }
  changes_.reset();
  homeLock_.reset();
  anyOpen = false;
}

Operation<Account> AccountSession::open(AccountConfiguration configuration, std::stop_token stop) {
  const auto session = claim(std::move(configuration));
  const Operation<void> start = session->start();
  const Ending<bool> first;
  start.then([first, stopper = falseAt(std::move(stop), first)](const Result<void>& result) {
    first(result ? Result<bool>(true) : result.failure());
  });
  const Operation<bool> begun(first);
  const bool whole = co_await begun;
  if (whole) co_return Account(session);
  session->beginClosing();
  const Operation<void> drained = session->drainClient();
  co_await drained;
  const Operation<void> hasStarted = endOf(start);
  co_await hasStarted;
  const Operation<bool> idle = session->idle();
  co_await idle;
  session->shut();
  refuse(AccountErrorCodeClosed, "The account was closed while it opened");
}

void AccountSession::requireNotClosing() const {
  if (closing_.stop_requested()) refuse(AccountErrorCodeClosed, "The account is closed");
}

Operation<void> AccountSession::start() {
  const auto self = shared_from_this();
  // What the library has under way would still act for the user before.
  const Operation<bool> idle = this->idle();
  co_await idle;
  if (client().userId() != configuration_.user.id) {
    const Operation<void> drained = drainClient();
    co_await drained;
  }
  requireNotClosing();
  leftOver_ = totals_->ended();
  // A reset has taken the events away; without one they are still there.
  service().unsubscribeFromEvents();
  service().subscribeToEvents();
  if (configuration_.onChange) {
    changes_ = std::make_unique<ChangeWatch>(self, configuration_.onChange);
  }
  setStops();
  adoptUser(service(), configuration_.user.id);
  service().setBatchSize(configuration_.batchSize);
  const Operation<void> initialized = initialize();
  co_await initialized;
  requireNotClosing();
  const Operation<void> kept = keepOrganization();
  co_await kept;
}

Operation<void> AccountSession::initialize() const {
  std::function<void(const Ending<void>&)> call = [this](const Ending<void>& ending) {
    std::set<std::int64_t> restricted;
    if (configuration_.readNotes) restricted.insert(QFContactDataRestrictionNotes);
    service().initializeWithAPIKey(
        configuration_.apiKey, configuration_.token, userInfoOf(configuration_.user),
        QFQuillfoldOptions::initWithRestrictedKeysToFetch(std::move(restricted)),
        [ending](bool, const ErrorPtr& error) {
          if (!ending.failedWith(error)) ending(std::monostate());
        });
    // Before the first registration, whose answer the client may have to make up, and after
    // the user is known.
    service().enableBackgroundSync();
  };
  auto self = std::const_pointer_cast<AccountSession>(shared_from_this());
  return asked<void>(std::move(self), std::move(call));
}

// The client makes a contact source up with the organization that is kept here. Without it
// the account works.
Operation<void> AccountSession::keepOrganization() const {
  return started<void>([this](const Ending<void>& ending) {
    client().getUserInfoWithCompletionHandler(
        [ending](const std::optional<Dictionary>& user, const ErrorPtr&) {
          const auto organization = user ? stringForKey(*user, "organization_id") : std::nullopt;
          if (organization) {
            NSUserDefaults::standardUserDefaults().setObject(*organization,
                                                             defaults_keys::kOrganizationId);
          }
          ending(std::monostate());
        });
  });
}

RunTotals::Sum AccountSession::takeReported() {
  return hasReported_.exchange(true) ? totals_->ended() : leftOver_;
}

Operation<bool> AccountSession::idle(const std::stop_token& stop, SyncEngine::Runs which) const {
  const Ending<bool> ending;
  engine().whenEnded(which, [ending, stopper = falseAt(stop, ending)] { ending(true); });
  return Operation<bool>(ending);
}

Operation<bool> AccountSession::access(const std::stop_token& stop) {
  const Ending<bool> ending;
  asked<bool>(shared_from_this(), [this](const Ending<bool>& asking) {
    service().requestContactsAccessWithCompletion(asking);
  }).then([ending, stopper = falseAt(stop, ending)](Result<bool> result) {
    ending(std::move(result));
  });
  return Operation<bool>(ending);
}

OptionalString AccountSession::token() const {
  const auto end = client().tokenExpiryDate();
  return end && *end > currentDate() ? client().token() : std::nullopt;
}

void AccountSession::dropToken(const OptionalString& refused) const {
  if (!refused || client().token() == refused) client().setToken(std::nullopt);
}

// Ends once the client has no request under way and none can follow.
Operation<void> AccountSession::drainClient() const {
  for (int quiet = 0; quiet <= kMostRequestsInARow; ++quiet) {
    client().cancelAllRequests();
    const Ending<bool> empty;
    client().session()->getTasksWithCompletionHandler([empty](const URLSessionTasks& tasks) {
      empty(tasks.dataTasks.empty() && tasks.uploadTasks.empty() && tasks.downloadTasks.empty());
    });
    const Operation<bool> answer(empty);
    const bool isQuiet = co_await answer;
    if (!isQuiet) quiet = -1;
  }
}

}  // namespace quillfold
