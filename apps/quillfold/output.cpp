#include "apps/quillfold/output.h"

#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <cwchar>
#include <iostream>

namespace host {

using namespace quillfold;

void printJSON(const Value& value) {
  ErrorPtr error;
  const auto text = NSJSONSerialization::dataWithJSONObject(value, &error);
  std::cout << (text ? *text : "{}") << '\n' << std::flush;
}

void printFailure(const ErrorPtr& error, bool json) {
  const std::string text = error->localizedDescription();
  if (json) {
    printJSON(Dictionary{
        {"success", false},
        {"error",
         Dictionary{{"domain", error->domain()}, {"code", error->code()}, {"text", text}}}});
  } else {
    std::cerr << "quillfold: " << text << " (" << error->domain() << ' ' << error->code() << ")\n";
  }
}

std::string harmless(const std::string& text) {
  const std::string padded = column(text, text.size());
  return padded.substr(0, padded.find_last_not_of(' ') + 1);
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

ProgressBar::ProgressBar() : visible_(isatty(STDERR_FILENO) != 0) {}

ProgressBar::~ProgressBar() {
  if (shown_) std::cerr << "\r\x1b[K" << std::flush;
}

void ProgressBar::show(std::int64_t done, std::int64_t total) {
  constexpr std::int64_t kWidth = 30;
  if (!visible_ || total <= 0) return;
  const auto filled = static_cast<std::size_t>(std::min(done, total) * kWidth / total);
  std::cerr << "\r\x1b[K  [" << std::string(filled, '#')
            << std::string(static_cast<std::size_t>(kWidth) - filled, '.') << "] " << done << " of "
            << total << std::flush;
  shown_ = true;
}

}  // namespace host
