#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <iostream>

#include "apps/quillfold/commands.h"
#include "apps/quillfold/output.h"
#include "apps/quillfold/terminal_interface.h"

namespace host {

using namespace quillfold;

namespace {

// The terminal with each key at once and without an echo, as long as it lives.
class RawTerminal {
 public:
  RawTerminal() {
    tcgetattr(STDIN_FILENO, &before_);
    termios raw = before_;
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ISIG);
    tcsetattr(STDIN_FILENO, TCSANOW, &raw);
    std::cerr << "\x1b[?1049h";
  }
  ~RawTerminal() {
    tcsetattr(STDIN_FILENO, TCSANOW, &before_);
    std::cerr << "\x1b[?1049l" << std::flush;
  }
  RawTerminal(const RawTerminal&) = delete;
  RawTerminal& operator=(const RawTerminal&) = delete;

  // The bytes of the next key; absent after the time without one, "" at the end.
  std::optional<std::string> key(int milliseconds) {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    if (poll(&input, 1, milliseconds) <= 0) return std::nullopt;
    char bytes[16];
    const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
    return std::string(bytes, count > 0 ? static_cast<std::size_t>(count) : 0);
  }

 private:
  termios before_{};
};

void removeLastCharacter(std::string& text) {
  while (!text.empty() && (static_cast<unsigned char>(text.back()) & 0xC0) == 0x80)
    text.pop_back();
  if (!text.empty()) text.pop_back();
}

class Browser : public std::enable_shared_from_this<Browser> {
 public:
  explicit Browser(HostSession& session) : session_(session) {}

  void run() {
    search();
    while (true) {
      const auto key = terminal_.key(20);
      if (key && !take(*key)) return;
      // The results come on the main queue.
      session_.runUntil([] { return false; }, 0.001);
      if (shown_ != revision_) draw();
    }
  }

 private:
  // Takes what was typed, several keys at once too; returns whether to go on.
  bool take(const std::string& typed) {
    constexpr std::string_view kEnds = "\x1b\x03\x04";
    if (typed.empty() || (typed.size() == 1 && kEnds.find(typed[0]) != std::string_view::npos)) {
      return false;
    }
    if (typed.front() == '\x1b') return true;  // An arrow or its like.
    for (const char c : typed) {
      if (c == '\x7f' || c == '\b') {
        removeLastCharacter(query_);
      } else if (static_cast<unsigned char>(c) >= ' ') {
        query_ += c;
      }
    }
    search();
    return true;
  }

  void search() {
    const int asked = ++asked_;
    ++revision_;
    QFContactSearchService::sharedInstance()->searchContactsWithQuery(
        query_, QFSearchFieldTypeAll, 0, kRows,
        [weak = weak_from_this(), this, asked](const std::optional<QFContactList>& contacts,
                                               std::int64_t total, const ErrorPtr&) {
          // The browser has ended, or this is the answer to an earlier key.
          const auto alive = weak.lock();
          if (!alive || asked != asked_) return;
          contacts_ = contacts.value_or(QFContactList());
          total_ = total;
          ++revision_;
        });
  }

  void draw() {
    shown_ = revision_;
    std::string screen = "\x1b[H\x1b[J> " + query_ + "\x1b[K\x1b[s\r\n\r\n";
    for (const QFContactPtr& contact : contacts_) {
      screen += "  " + column(contact->displayName().value_or(""), 30) + "  " +
                column(contact->displayInfo(), 40) + "\r\n";
    }
    screen += "\r\n  " + std::to_string(total_) + " found. Escape ends.\x1b[u";
    std::cerr << screen << std::flush;
  }

  static constexpr std::int64_t kRows = 16;

  HostSession& session_;
  RawTerminal terminal_;
  std::string query_;
  QFContactList contacts_;
  std::int64_t total_ = 0;
  int asked_ = 0;
  int revision_ = 0;
  int shown_ = 0;
};

}  // namespace

int browseCommand(HostSession& session) {
  if (!onTerminal()) throw WrongUsage("browse needs a terminal");
  session.requestAccess();
  std::make_shared<Browser>(session)->run();
  return 0;
}

}  // namespace host
