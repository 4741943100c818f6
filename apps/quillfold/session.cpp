#include "apps/quillfold/session.h"

#include <filesystem>
#include <fstream>

#include "apps/quillfold/desktop_books.h"
#include "apps/quillfold/output.h"
#include "apps/quillfold/sync_report.h"
#include "apps/quillfold/terminal.h"
#include "apps/quillfold/terminal_interface.h"

namespace host {

using namespace quillfold;

namespace {

// What a deferred task waits at the least.
constexpr double kAhead = 900;

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

std::string originOf(const Options& options) {
  return options.backend.empty() ? QFAPIConfig::baseURL() : options.backend;
}

// Whether a vCard begins near the start of a file, in whatever encoding.
bool hasCards(const std::string& path) {
  constexpr std::size_t kLookedAt = 65536;
  std::string text(kLookedAt, '\0');
  std::ifstream file(path, std::ios::binary);
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  // One that can't be read is for the library to name.
  if (file.bad() || file.gcount() == 0) return true;
  text.resize(static_cast<std::size_t>(file.gcount()));
  std::erase(text, '\0');
  for (char& c : text)
    c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text.find("BEGIN:VCARD") != std::string::npos;
}

void checkBook(const std::string& path) {
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (status.type() == std::filesystem::file_type::unknown) return;  // The library has the reason.
  if (!exists(status)) throw hostFailure("There is no address book at " + path);
  if (is_directory(status) || (is_regular_file(status) && hasCards(path))) return;
  throw hostFailure(path + " is no address book: neither a folder nor a file of vCards");
}

}  // namespace

Session::Session(const Options& options) : options_(options), device_(makeDevice()) {
  interrupts_.start([json = options.json](int status) { endInterrupted(status, json); });
}

Linux Session::makeDevice() {
  QFAPIConfig::configureWithEnvironment(environmentNamed(options_.environment));
  const bool named = !options_.backend.empty() || !options_.connect.empty();
  // A backend of the host's choice needs no network that the system knows of.
  TaskSchedulerOptions tasks;
  if (named) tasks.networkIsUp = [] { return true; };
  std::map<std::string, std::string> connectTo;
  if (!options_.connect.empty()) connectTo[authorityOf(originOf(options_))] = options_.connect;
  return Linux{
      .home = options_.home,
      .addressBook = options_.book,
      .accessQuestion = [this](const auto& answer) { askForAccess(answer); },
      .backend = options_.backend,
      .connectTo = std::move(connectTo),
      .logLevel = LogLevel::Debug,
      .log = options_.verbose ? nullptr : makeWarningLog(),
      .userInterface = std::make_shared<TerminalInterface>(
          [this] {
            const auto allowed =
                confirms("Settings: may Quillfold read your contacts?", interrupts_.descriptor());
            if (!allowed) return;
            contacts().setAuthorizationStatus(*allowed ? CNAuthorizationStatusAuthorized
                                                       : CNAuthorizationStatusDenied);
          },
          interrupts_.descriptor()),
      .adjust =
          [this, tasks](Platform& platform) {
            auto clock = platform.clock;
            if (options_.hurry) clock = std::make_shared<ClockAhead>(clock, kAhead);
            tasks_ = std::make_shared<ObservedScheduler>(
                std::make_shared<LinuxTaskScheduler>(clock, tasks));
            platform.backgroundTasks = tasks_;
            if (options_.book != kDesktopBooks) return;
            useDesktopBooks(platform, [this](const auto& answer) { askForAccess(answer); });
          },
  };
}

Page Session::page(std::int64_t usualLimit) const {
  return {.offset = options_.offset, .limit = options_.limit.value_or(usualLimit)};
}

Account& Session::account() {
  if (!account_) {
    opening_.emplace(Account::open(
        {.apiKey = options_.apiKey,
         .token = options_.token,
         .user = {.id = options_.user, .email = options_.email, .phone = options_.phone},
         .readNotes = options_.notes,
         .batchSize = options_.batchSize,
         .onChange = [this](const AccountChange& change) { take(change); }}));
    account_ = wait(*opening_);
  }
  return *account_;
}

void Session::close() {
  try {
    if (opening_ && !account_) {
      opening_->cancel();
      account_ = opening_->get();
    }
    if (account_) account_->close().get();
  } catch (const Failure&) {
    // It has not opened.
  }
}

void Session::take(const AccountChange& change) {
  if (onChange) return onChange(change);
  if (change.report) add(runs_ ? *runs_ : runs_.emplace(), *change.report);
}

OptionalString Session::kept(const char* key) const {
  NSUserDefaults& defaults = NSUserDefaults::standardUserDefaults();
  const bool own = defaults.stringForKey("quillfold.original.user.id") == options_.user;
  return own ? defaults.stringForKey(key) : std::nullopt;
}

QFContactService& Session::records() {
  QFContactService& service = *QFContactService::sharedInstance();
  if (!account_) service.setSyncInfoFilePath(Account::bookkeepingPath(options_.user));
  return service;
}

QFContactService& Session::readRecords() {
  QFContactService& service = records();
  service.loadSyncInfoCache();
  if (const auto problem = Account::bookkeepingProblem()) {
    throw Failure(
        problem->domain(), problem->code(),
        "The bookkeeping " + service.syncInfoFilePath() + " can't be read: " + problem->text());
  }
  return service;
}

LinuxContacts& Session::contacts() const {
  return dynamic_cast<LinuxContacts&>(*Platform::current().contacts);
}

std::string Session::address() const {
  const std::string origin = originOf(options_);
  if (options_.connect.empty()) return origin;
  return origin.substr(0, origin.find("://") + 3) + options_.connect;
}

void Session::requestAccess() {
  const bool granted = answerOf<bool>([this](const Ending<bool>& ending) {
    records().requestContactsAccessWithCompletion(ending);
  });
  if (interrupts_.came()) throw Interrupted();
  if (!granted && !offerSettings()) {
    throw Failure(QFErrorDomain, QFErrorCodeAccessDenied,
                  "Contacts access denied. `quillfold access allow` allows it.");
  }
  requireBook();
}

void Session::requireBook() const {
  if (options_.book != kDesktopBooks) checkBook(contacts().path());
}

// On a terminal the user is asked. Elsewhere an address book that is named has been allowed
// by naming it, and for another one nothing is decided.
void Session::askForAccess(const std::function<void(bool granted)>& answer) const {
  if (!onTerminal()) {
    if (!options_.book.empty()) answer(true);
    return;
  }
  const auto granted = confirms("Let Quillfold read the address book " + contacts().path() + "?",
                                interrupts_.descriptor());
  if (granted) answer(*granted);
}

// Leads the user from a refusal to the settings; returns whether access is there
// now.
bool Session::offerSettings() {
  UIViewController screen;
  const auto authorization = QFContactsAuthorizationService::sharedInstance();
  authorization->showSettingsAlertViewFromViewController(screen);
  return authorization->hasContactsReadAccess();
}

void Session::runUntil(const std::function<bool()>& predicate, double seconds) {
  const auto queue = device_.queue;
  const std::stop_callback wake(interrupts_.token(), [queue] { queue->async([] {}); });
  queue->runUntil([&] { return predicate() || interrupts_.came(); }, seconds);
}

}  // namespace host
