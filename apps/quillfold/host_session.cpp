#include "apps/quillfold/host_session.h"

#include "apps/quillfold/terminal_interface.h"

namespace host {

using namespace quillfold;

namespace {

// Nothing of the library's log is shown unless it is asked for: what matters to
// the user of this program comes back through completions.
class SilentLog : public LogSink {
 public:
  void plain(std::string_view) override {}
  void leveled(LogLevel, std::string_view, std::string_view, std::string_view) override {}
};

// On a terminal the user is asked. Elsewhere an address book that is named on the
// command line has been allowed by naming it.
AccessQuestion accessQuestion(const std::string& book) {
  return [book](const std::function<void(bool)>& answer) {
    answer(onTerminal() ? confirms("Let Quillfold read the address book " + book + "?")
                        : !book.empty());
  };
}

std::int64_t environmentNamed(const std::string& name) {
  if (name == "prod") return QFAPIEnvironmentProd;
  return name == "staging" ? QFAPIEnvironmentStaging : QFAPIEnvironmentDev;
}

// "host:port" of an address, with the scheme's own port where it names none.
std::string authorityOf(const std::string& address) {
  const auto start = address.find("://") + 3;
  std::string authority = address.substr(start, address.find('/', start) - start);
  if (authority.find(':') != std::string::npos) return authority;
  return authority + (address.starts_with("https") ? ":443" : ":80");
}

}  // namespace

HostSession::HostSession(const Arguments& arguments)
    : arguments_(arguments), queue_(std::make_shared<LinuxMainQueue>()) {
  QFAPIConfig::configureWithEnvironment(environmentNamed(arguments.environment));

  LinuxConfiguration configuration;
  configuration.configurationFolder = arguments.home;
  configuration.dataFolder = arguments.home;
  configuration.addressBook = arguments.book;
  configuration.accessQuestion = accessQuestion(arguments.book);
  if (!arguments.connect.empty()) {
    configuration.connectTo[authorityOf(QFAPIConfig::baseURL())] = arguments.connect;
  }

  configuration.userInterface = std::make_shared<TerminalInterface>([this] {
    const bool allowed = confirms("Settings: may Quillfold read your contacts?");
    contacts_->setAuthorizationStatus(allowed ? CNAuthorizationStatusAuthorized
                                              : CNAuthorizationStatusDenied);
  });

  Platform platform = makeLinuxPlatform(configuration);
  platform.mainQueue = queue_;
  clock_ = std::make_shared<HurriedClock>(platform.clock);
  platform.clock = clock_;
  // A backend that is reached at an address of the host's choice needs no network
  // that the system knows of.
  TaskSchedulerOptions tasks;
  if (!arguments.connect.empty()) tasks.networkIsUp = [] { return true; };
  scheduler_ = std::make_shared<LinuxTaskScheduler>(clock_, tasks);
  tasks_ = std::make_shared<ObservedScheduler>(scheduler_);
  platform.backgroundTasks = tasks_;
  contacts_ = std::dynamic_pointer_cast<LinuxContacts>(platform.contacts);
  if (!arguments.verbose) platform.log = std::make_shared<SilentLog>();
  Platform::install(std::move(platform));
}

bool HostSession::awaitTask(std::function<void()> onLaunch) {
  std::optional<bool> success;
  tasks_->onLaunch = std::move(onLaunch);
  tasks_->onEnd = [&success](bool given) { success = given; };
  while (!runUntil([&success] { return success.has_value(); }, 0.2)) {
  }
  return *success;
}

void HostSession::putClockAhead(double seconds) {
  clock_->putAhead(seconds);
  scheduler_->clockHasMoved();
}

NSUserDefaults& HostSession::defaults() {
  return *Platform::current().userDefaults;
}

void HostSession::await(const std::function<void(Done)>& start, const std::function<void()>& step) {
  constexpr double kStepSeconds = 0.1;
  bool done = false;
  // Some completions run on other threads; all of them meet on the main queue.
  start([this, &done] { queue_->async([&done] { done = true; }); });
  while (!queue_->runUntil([&done] { return done; }, kStepSeconds)) {
    if (step) step();
  }
}

bool HostSession::runUntil(const std::function<bool()>& predicate, double seconds) {
  return queue_->runUntil(predicate, seconds);
}

void HostSession::initialize() {
  const auto user =
      QFUserInfo::initWithUserId(arguments_.user, std::nullopt, arguments_.email, arguments_.phone);
  std::set<std::int64_t> restrictedKeys;
  if (arguments_.notes) restrictedKeys.insert(QFContactDataRestrictionNotes);
  const auto options = QFQuillfoldOptions::initWithRestrictedKeysToFetch(restrictedKeys);

  service().setBatchSize(arguments_.batchSize);
  ErrorPtr failure;
  await([&](const Done& done) {
    service().initializeWithAPIKey(arguments_.apiKey, arguments_.token, user, options,
                                   [&failure, done](bool, const ErrorPtr& error) {
                                     failure = error;
                                     done();
                                   });
    // From its second run on the backend answers this device's registration with
    // "exists already", and the client needs its link to the facade to go on from
    // there. So the two are linked before the first registration.
    service().enableBackgroundSync();
  });
  if (failure) throw LibraryFailure(failure);
  keepOrganization();
}

// The library reads the organization from the defaults where it makes a contact
// source up, and leaves writing it to the host.
void HostSession::keepOrganization() {
  await([&](const Done& done) {
    QFAPIClient::sharedInstance()->getUserInfoWithCompletionHandler(
        [&, done](const std::optional<Dictionary>& user, const ErrorPtr&) {
          const auto organization = user ? stringForKey(*user, "organization_id") : std::nullopt;
          if (organization) defaults().setObject(*organization, "quillfold.organization.id");
          done();
        });
  });
}

void HostSession::requestAccess() {
  bool granted = false;
  await([&](const Done& done) {
    service().requestContactsAccessWithCompletion([&granted, done](bool answer) {
      granted = answer;
      done();
    });
  });
  if (granted || offerSettings()) return;
  throw LibraryFailure(QFError::errorWithCode(
      QFErrorCodeAccessDenied, "Contacts access denied. Please allow access in Settings."));
}

// Leads the user from a refusal to the settings; returns whether access is there
// now.
bool HostSession::offerSettings() {
  UIViewController screen;
  const auto authorization = service().authorizationService();
  authorization->showSettingsAlertViewFromViewController(screen);
  return authorization->hasContactsReadAccess();
}

}  // namespace host
