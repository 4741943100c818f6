#include "apps/backend/options.h"

#include <charconv>

namespace quillfold::backend {
namespace {

// Walks the arguments; a value stands behind its option or behind "=".
class Arguments {
 public:
  explicit Arguments(const std::vector<std::string>& all) : all_(all) {}

  bool next() {
    if (index_ == all_.size()) return false;
    name_ = all_[index_++];
    value_.reset();
    const auto equals = name_.find('=');
    if (name_.starts_with("--") && equals != std::string::npos) {
      value_ = name_.substr(equals + 1);
      name_.resize(equals);
    }
    return true;
  }

  const std::string& name() const { return name_; }

  std::string value() {
    if (value_) return *value_;
    if (index_ == all_.size()) throw UsageError(name_ + " needs a value");
    return all_[index_++];
  }

  std::int64_t number(std::int64_t max) {
    const std::string text = value();
    std::int64_t number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || number < 0 || number > max) {
      throw UsageError(name_ + " needs a number from 0 to " + std::to_string(max) + ", not \"" +
                       text + "\"");
    }
    return number;
  }

  // For an option that takes no value.
  bool flag() const {
    if (value_) throw UsageError(name_ + " takes no value");
    return true;
  }

 private:
  const std::vector<std::string>& all_;
  std::size_t index_ = 0;
  std::string name_;
  std::optional<std::string> value_;
};

std::string filled(Arguments& arguments) {
  std::string value = arguments.value();
  if (value.empty()) throw UsageError(arguments.name() + " needs a value");
  return value;
}

}  // namespace

const char* const kUsage =
    R"(usage: quillfold-backend [--host ADDRESS] [--port N] [--database FILE]
                         [--api-key KEY]... [--token-seconds N]
                         [--misbehave PATH=KIND[:ARG]]... [--no-demo]
                         [--quiet] [--help]

  --host ADDRESS     listen on this address (127.0.0.1)
  --port N           listen on this port, 0 for any free one (8080)
  --database FILE    keep everything in this file, not just in memory
  --api-key KEY      take this API key; without the option, any
  --token-seconds N  let no token live longer than this
  --misbehave ...    on PATH commit a fault: status:CODE, empty:CODE, garbage,
                     delay:MILLISECONDS, drop or truncate
  --no-demo          add no invented people around a user who uploads contacts
  --quiet            log no requests
)";

CommandLine parseCommandLine(const std::vector<std::string>& all) {
  constexpr std::int64_t kMaxTokenSeconds = 315360000;
  CommandLine line;
  line.options.port = 8080;
  line.options.demo = true;
  Arguments arguments(all);
  while (arguments.next()) {
    const std::string& name = arguments.name();
    if (name == "--host") {
      line.options.host = filled(arguments);
    } else if (name == "--port") {
      line.options.port = static_cast<int>(arguments.number(65535));
    } else if (name == "--database") {
      line.options.database = filled(arguments);
    } else if (name == "--api-key") {
      line.options.apiKeys.push_back(filled(arguments));
    } else if (name == "--token-seconds") {
      line.options.tokenSeconds = arguments.number(kMaxTokenSeconds);
    } else if (name == "--misbehave") {
      try {
        line.misbehaviours.push_back(parseMisbehaviour(arguments.value()));
      } catch (const std::invalid_argument& error) {
        throw UsageError(error.what());
      }
    } else if (name == "--no-demo") {
      line.options.demo = !arguments.flag();
    } else if (name == "--quiet") {
      line.quiet = arguments.flag();
    } else if (name == "--help") {
      line.help = arguments.flag();
    } else {
      throw UsageError("unknown argument \"" + name + "\"");
    }
  }
  return line;
}

}  // namespace quillfold::backend
