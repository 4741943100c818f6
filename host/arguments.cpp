#include "host/arguments.h"

#include <getopt.h>

#include <charconv>
#include <map>

namespace host {

namespace {

// The commands and the number of operands that each takes.
const std::map<std::string, std::size_t>& commands() {
  static const std::map<std::string, std::size_t> table{{"sync", 0}, {"plan", 0},   {"list", 0},
                                                        {"show", 1}, {"status", 0}, {"watch", 0},
                                                        {"defer", 0}};
  return table;
}

enum Option : int {
  kBook = 1,
  kHome,
  kUser,
  kEmail,
  kPhone,
  kAPIKey,
  kToken,
  kNotes,
  kBatchSize,
  kEnvironment,
  kConnect,
  kJSON,
  kVerbose,
  kHurry,
  kHelp,
};

const option kOptions[] = {{"book", required_argument, nullptr, kBook},
                           {"home", required_argument, nullptr, kHome},
                           {"user", required_argument, nullptr, kUser},
                           {"email", required_argument, nullptr, kEmail},
                           {"phone", required_argument, nullptr, kPhone},
                           {"api-key", required_argument, nullptr, kAPIKey},
                           {"token", required_argument, nullptr, kToken},
                           {"notes", no_argument, nullptr, kNotes},
                           {"batch-size", required_argument, nullptr, kBatchSize},
                           {"environment", required_argument, nullptr, kEnvironment},
                           {"connect", required_argument, nullptr, kConnect},
                           {"json", no_argument, nullptr, kJSON},
                           {"verbose", no_argument, nullptr, kVerbose},
                           {"hurry", no_argument, nullptr, kHurry},
                           {"help", no_argument, nullptr, kHelp},
                           {nullptr, 0, nullptr, 0}};

std::optional<std::int64_t> positiveNumber(const std::string& text) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number <= 0) return std::nullopt;
  return number;
}

std::optional<UsageError> store(Arguments& arguments, int option, const std::string& value) {
  switch (option) {
    case kBook:
      arguments.book = value;
      break;
    case kHome:
      arguments.home = value;
      break;
    case kUser:
      arguments.user = value;
      break;
    case kEmail:
      arguments.email = value;
      break;
    case kPhone:
      arguments.phone = value;
      break;
    case kAPIKey:
      arguments.apiKey = value;
      break;
    case kToken:
      arguments.token = value;
      break;
    case kNotes:
      arguments.notes = true;
      break;
    case kJSON:
      arguments.json = true;
      break;
    case kHurry:
      arguments.hurry = true;
      break;
    case kVerbose:
      arguments.verbose = true;
      break;
    case kConnect:
      if (value.find(':') == std::string::npos) return UsageError{"--connect takes HOST:PORT"};
      arguments.connect = value;
      break;
    case kEnvironment:
      if (value != "dev" && value != "staging" && value != "prod") {
        return UsageError{"--environment takes dev, staging or prod"};
      }
      arguments.environment = value;
      break;
    case kBatchSize: {
      const auto number = positiveNumber(value);
      if (!number) return UsageError{"--batch-size takes a number above 0"};
      arguments.batchSize = *number;
      break;
    }
    default:
      return UsageError{"unknown option"};
  }
  return std::nullopt;
}

std::optional<UsageError> storeCommand(Arguments& arguments, std::vector<std::string> words) {
  if (words.empty()) return UsageError{"which command?"};
  arguments.command = words.front();
  words.erase(words.begin());
  const auto known = commands().find(arguments.command);
  if (known == commands().end()) return UsageError{"unknown command: " + arguments.command};
  if (words.size() != known->second) {
    return UsageError{arguments.command + " takes " + std::to_string(known->second) +
                      " operand(s)"};
  }
  arguments.operands = std::move(words);
  return std::nullopt;
}

}  // namespace

std::variant<Arguments, UsageError, HelpRequested> parseArguments(int argc, char** argv) {
  Arguments arguments;
  opterr = 0;
  int option = 0;
  while ((option = getopt_long(argc, argv, ":", kOptions, nullptr)) != -1) {
    if (option == kHelp) return HelpRequested{};
    if (option == ':' || option == '?') {
      return UsageError{std::string(option == ':' ? "missing value of " : "unknown option ") +
                        argv[optind - 1]};
    }
    if (auto problem = store(arguments, option, optarg != nullptr ? optarg : "")) return *problem;
  }
  if (auto problem = storeCommand(arguments, {argv + optind, argv + argc})) return *problem;
  // A user needs one of the two.
  if (!arguments.email && !arguments.phone) arguments.email = arguments.user + "@example.com";
  return arguments;
}

const char* usageText() {
  return R"(Usage: quillfold [OPTIONS] COMMAND

Commands
  sync       upload the contacts that have changed since their last upload
  plan       what a sync would upload now; asks no backend
  list       what was uploaded, and when
  show ID    one contact as the library sees it
  status     state, access, counts, files and identifiers
  watch      stay, and sync whenever the address book changes; SIGUSR1 stands for
             becoming active, SIGUSR2 for entering the background
  defer      register the deferred task, ask for a run, and wait for it

Options
  --book PATH          the address book: a .vcf file or a folder of them
  --home DIR           keep settings and bookkeeping here (else the XDG folders)
  --user ID            the signed-in user, with --email E or --phone P
  --api-key K          checked by the backend
  --token T            of the user; it stays on this device
  --notes              read the notes of the contacts as well
  --batch-size N       contacts in one upload (20)
  --environment NAME   dev, staging or prod (dev)
  --connect HOST:PORT  where the backend's address is reached
  --json               one JSON document on standard output
  --hurry              put the clock ahead instead of waiting for the deferred task
  --verbose            the library's log on standard error
)";
}

}  // namespace host
