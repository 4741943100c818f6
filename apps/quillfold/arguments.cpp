#include "apps/quillfold/arguments.h"

#include <getopt.h>

#include <charconv>

namespace host {

namespace {

template <typename Number>
bool readNumber(const std::string& text, Number least, Number& number) {
  const char* end = text.data() + text.size();
  Number read = 0;
  const auto result = std::from_chars(text.data(), end, read);
  if (result.ec != std::errc() || result.ptr != end || read < least) return false;
  number = read;
  return true;
}

bool readEnvironment(const std::string& text, std::string& environment) {
  environment = text;
  return text == "dev" || text == "staging" || text == "prod";
}

bool readConnect(const std::string& text, std::string& connect) {
  connect = text;
  const auto colon = text.rfind(':');
  std::uint16_t port = 0;
  return colon != std::string::npos && colon > 0 &&
         readNumber<std::uint16_t>(text.substr(colon + 1), 1, port);
}

// One option: `store` returns whether the value will do; `takes` says what would.
// An option without it takes no value.
struct Option {
  const char* name;
  const char* takes;
  bool (*store)(Arguments& arguments, const std::string& value);
};

template <auto field>
bool storeText(Arguments& arguments, const std::string& value) {
  arguments.*field = value;
  return true;
}
template <auto field>
bool storeFlag(Arguments& arguments, const std::string&) {
  arguments.*field = true;
  return true;
}
template <auto field>
bool storeDetail(Arguments& arguments, const std::string& value) {
  arguments.event.*field = value;
  return true;
}

constexpr Option kOptions[] = {
    {"book", "a path", storeText<&Arguments::book>},
    {"home", "a folder", storeText<&Arguments::home>},
    {"user", "an identifier", storeText<&Arguments::user>},
    {"email", "an address", storeText<&Arguments::email>},
    {"phone", "a number", storeText<&Arguments::phone>},
    {"api-key", "a key", storeText<&Arguments::apiKey>},
    {"token", "a token", storeText<&Arguments::token>},
    {"notes", nullptr, storeFlag<&Arguments::notes>},
    {"batch-size", "a number above 0",
     [](Arguments& arguments, const std::string& value) {
       return readNumber<std::int64_t>(value, 1, arguments.batchSize);
     }},
    {"environment", "dev, staging or prod",
     [](Arguments& arguments, const std::string& value) {
       return readEnvironment(value, arguments.environment);
     }},
    {"connect", "HOST:PORT",
     [](Arguments& arguments, const std::string& value) {
       return readConnect(value, arguments.connect);
     }},
    {"json", nullptr, storeFlag<&Arguments::json>},
    {"verbose", nullptr, storeFlag<&Arguments::verbose>},
    {"hurry", nullptr, storeFlag<&Arguments::hurry>},
    {"offset", "a number",
     [](Arguments& arguments, const std::string& value) {
       return readNumber<std::int64_t>(value, 0, arguments.offset);
     }},
    {"limit", "a number above 0",
     [](Arguments& arguments, const std::string& value) {
       return readNumber<std::int64_t>(value, 1, arguments.limit);
     }},
    {"field", "a number",
     [](Arguments& arguments, const std::string& value) {
       return readNumber<std::uint64_t>(value, 0, arguments.field);
     }},
    {"quick", nullptr, storeFlag<&Arguments::quick>},
    {"type", "a text", storeDetail<&EventDetails::type>},
    {"title", "a text", storeDetail<&EventDetails::title>},
    {"about", "a text", storeDetail<&EventDetails::about>},
    {"place", "a text", storeDetail<&EventDetails::place>},
    {"starts", "a time", storeDetail<&EventDetails::starts>},
    {"ends", "a time", storeDetail<&EventDetails::ends>},
    {"private", nullptr,
     [](Arguments& arguments, const std::string&) { return arguments.event.isPrivate = true; }},
};
constexpr int kFirstOption = 256;
constexpr int kHelp = 1;

std::vector<option> systemOptions() {
  std::vector<option> out;
  for (const Option& known : kOptions) {
    out.push_back({known.name, known.takes != nullptr ? required_argument : no_argument, nullptr,
                   kFirstOption + static_cast<int>(out.size())});
  }
  out.push_back({"help", no_argument, nullptr, kHelp});
  out.push_back({nullptr, 0, nullptr, 0});
  return out;
}

}  // namespace

std::variant<Arguments, UsageError, HelpRequested> parseArguments(int argc, char** argv) {
  Arguments arguments;
  const std::vector<option> options = systemOptions();
  opterr = 0;
  int found = 0;
  while ((found = getopt_long(argc, argv, ":", options.data(), nullptr)) != -1) {
    if (found == kHelp) return HelpRequested{};
    if (found < kFirstOption) {
      return UsageError{std::string(found == ':' ? "missing value of " : "unknown option ") +
                        argv[optind - 1]};
    }
    const Option& known = kOptions[found - kFirstOption];
    if (!known.store(arguments, optarg != nullptr ? optarg : "")) {
      return UsageError{std::string("--") + known.name + " takes " + known.takes};
    }
  }
  if (optind == argc) return UsageError{"which command?"};
  arguments.command = argv[optind];
  arguments.operands.assign(argv + optind + 1, argv + argc);
  // A user needs one of the two.
  if (!arguments.email && !arguments.phone) arguments.email = arguments.user + "@example.com";
  return arguments;
}

const char* optionsText() {
  return R"(Options
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
  --verbose            the library's log on standard error
  --hurry              put the clock ahead instead of waiting for the deferred task
  --offset N --limit N which part of a list (0, 20)
  --field N            what a search looks at: 1 the name, 4294967295 everything
  --quick              the first matches for the text as it is, blanks included
  --type, --title, --about, --place, --starts, --ends TEXT and --private
                       what an event is; times are like 2026-12-24T18:00:00Z
)";
}

}  // namespace host
