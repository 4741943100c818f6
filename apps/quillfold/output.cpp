#include "apps/quillfold/output.h"

#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <cwchar>
#include <iostream>
#include <mutex>

#include "apps/quillfold/terminal.h"

namespace host {

using namespace quillfold;

namespace {

// Whose turn it is to write documents, and whether one has been begun.
std::mutex documentMutex;
bool documentBegun = false;

std::string uploadedText(std::optional<std::int64_t> uploaded) {
  return uploaded.value_or(0) > 0 ? "; " + std::to_string(*uploaded) + " uploaded before" : "";
}

Dictionary failureObject(const Failure& failure, std::optional<std::int64_t> uploaded) {
  Dictionary document{{"success", false},
                      {"error", Dictionary{{"domain", failure.domain()},
                                           {"code", failure.code()},
                                           {"text", failure.text()}}}};
  setIfPresent(document, "uploaded", uploaded);
  return document;
}

constexpr const char* kInterrupted = "Interrupted";

class WarningLog : public LogSink {
 public:
  bool wantsPlain() const override { return false; }
  bool wants(LogLevel level) const override { return level == LogLevel::Warning; }
  void plain(std::string_view) override {}
  void leveled(LogLevel level, std::string_view, std::string_view, std::string_view line) override {
    if (wants(level)) say(harmless(std::string(line)));
  }
};

}  // namespace

Failure hostFailure(const std::string& text) {
  return {kHostErrorDomain, 1, text};
}

void say(const std::string& problem) {
  const char* start = isatty(STDERR_FILENO) != 0 ? "\r\x1b[K" : "";
  std::cerr << start + coloredError("quillfold:", Color::Red) + ' ' + problem + '\n' << std::flush;
}

void printFailure(const Failure& failure, bool json, std::optional<std::int64_t> uploaded) {
  std::string text = harmless(failure.text());
  if (text.find(failure.cause()) == std::string::npos) {
    if (text.ends_with('.')) text.pop_back();
    text += ": " + harmless(failure.cause());
  }
  std::string line = text + " (" + failure.domain() + ' ' + std::to_string(failure.code()) + ')';
  if (!failure.address().empty()) line += ", asking " + harmless(failure.address());
  say(line + uploadedText(uploaded));
  if (json) printJSON(failureObject(failure, uploaded));
}

void printInterruption(bool json, std::optional<std::int64_t> uploaded) {
  say(kInterrupted + uploadedText(uploaded));
  if (json) printJSON(failureObject(hostFailure(kInterrupted), uploaded));
}

void endInterrupted(int status, bool json) {
  say(kInterrupted);
  // Held to the end: whoever writes one now has it to himself, and no other follows.
  const std::unique_lock turn(documentMutex, std::try_to_lock);
  if (json && turn && !documentBegun) {
    const std::string text = jsonText(failureObject(hostFailure(kInterrupted), {})) + '\n';
    static_cast<void>(!write(STDOUT_FILENO, text.data(), text.size()));
  }
  _exit(status);
}

int wrongUsage(const std::string& problem, const std::string& command) {
  say(harmless(problem) + "\nSee " + command + " --help.");
  return kWrongUsageStatus;
}

std::shared_ptr<LogSink> makeWarningLog() {
  return std::make_shared<WarningLog>();
}

std::string jsonText(const Value& value) {
  ErrorPtr error;
  const auto text = NSJSONSerialization::dataWithJSONObject(value, &error);
  if (!text) throw Failure::fromError(*error);
  return *text;
}

void printDocument(const std::string& text) {
  const std::lock_guard turn(documentMutex);
  documentBegun = true;
  std::cout << text << '\n' << std::flush;
}

void printJSON(const Value& value) {
  printDocument(jsonText(value));
}

std::string harmless(const std::string& text) {
  const std::string padded = column(text, text.size());
  return padded.substr(0, padded.find_last_not_of(' ') + 1);
}

std::string harmless(const OptionalString& text) {
  return harmless(text.value_or(""));
}

std::string timeText(double secondsSince1970) {
  if (secondsSince1970 == 0) return "never";
  const auto seconds = static_cast<std::time_t>(secondsSince1970);
  std::tm local{};
  localtime_r(&seconds, &local);
  char text[32];
  return {text, std::strftime(text, sizeof text, "%F %T", &local)};
}

std::string column(const std::string& text, std::size_t width) {
  std::string out;
  std::size_t used = 0;
  std::mbstate_t state{};
  for (std::size_t i = 0; i < text.size();) {
    wchar_t character = 0;
    const std::size_t length = std::mbrtowc(&character, &text[i], text.size() - i, &state);
    if (length == 0 || length > text.size() - i) break;
    // Control characters have no width and would move the cursor.
    const int cells = wcwidth(character);
    if (used + static_cast<std::size_t>(std::max(cells, 0)) > width) break;
    out += cells < 0 ? " " : text.substr(i, length);
    used += static_cast<std::size_t>(cells < 0 ? 1 : cells);
    i += length;
  }
  return out.append(width - std::min(used, width), ' ');
}

std::string wholeColumn(const std::string& text, std::size_t width) {
  const std::string whole = harmless(text);
  const std::string padded = column(whole, width);
  return padded.starts_with(whole) ? padded : whole;
}

std::vector<std::string> folded(std::string text, std::size_t width) {
  std::vector<std::string> lines;
  do {
    const std::string line = column(text, width);
    const auto taken = std::mismatch(text.begin(), text.end(), line.begin(), line.end()).first;
    lines.emplace_back(text.begin(), taken);
    if (taken == text.begin()) break;  // Not even one character fits.
    text.erase(text.begin(), taken);
  } while (!text.empty());
  return lines;
}

}  // namespace host
