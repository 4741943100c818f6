#include <algorithm>
#include <deque>
#include <iostream>

#include "apps/quillfold/commands.h"
#include "apps/quillfold/contact_search.h"
#include "apps/quillfold/contact_texts.h"
#include "apps/quillfold/output.h"
#include "apps/quillfold/session.h"
#include "apps/quillfold/terminal.h"

namespace host {

using namespace quillfold;

namespace {

enum class Key { Up, Down, PageUp, PageDown, Enter, Character, Erase, Escape, End, Other };

// Whether its meaning depends on what is on the screen.
bool choosesRow(Key key) {
  return key <= Key::Enter;
}

// Of what begins with ESC: alone, with a key that was pressed with Alt, or up to its last byte.
std::size_t sequenceLength(const std::string& bytes) {
  if (bytes.size() == 1 || bytes[1] == '\x1b') return 1;
  if (bytes[1] == 'O') return std::min<std::size_t>(bytes.size(), 3);
  if (bytes[1] != '[') return 2;
  std::size_t length = 2;
  while (length < bytes.size() && (bytes[length] < '@' || bytes[length] > '~'))
    ++length;
  return std::min(length + 1, bytes.size());
}

// Takes the next key off the bytes that a terminal sends.
Key takeKey(std::string& bytes) {
  struct Sequence {
    std::string_view bytes;
    Key key;
  };
  constexpr Sequence kSequences[] = {
      {"\x1b[A", Key::Up},   {"\x1bOA", Key::Up},      {"\x1b[B", Key::Down},
      {"\x1bOB", Key::Down}, {"\x1b[5~", Key::PageUp}, {"\x1b[6~", Key::PageDown},
      {"\r", Key::Enter},    {"\n", Key::Enter},       {"\x7f", Key::Erase},
      {"\b", Key::Erase},    {"\x04", Key::End},
  };
  for (const Sequence& sequence : kSequences) {
    if (!bytes.starts_with(sequence.bytes)) continue;
    bytes.erase(0, sequence.bytes.size());
    return sequence.key;
  }
  if (bytes.front() == '\x1b') {
    const std::size_t length = sequenceLength(bytes);
    bytes.erase(0, length);
    return length == 1 ? Key::Escape : Key::Other;
  }
  const bool isText = static_cast<unsigned char>(bytes.front()) >= ' ';
  bytes.erase(0, 1);
  return isText ? Key::Character : Key::Other;
}

void removeLastCharacter(std::string& text) {
  while (!text.empty() && (static_cast<unsigned char>(text.back()) & 0xC0) == 0x80)
    text.pop_back();
  if (!text.empty()) text.pop_back();
}

class Browser : public std::enable_shared_from_this<Browser> {
 public:
  explicit Browser(Session& session) : session_(session) {}

  bool hasEnded() const { return ended_; }

  void resize() {
    move(0);
    search();
    draw();
  }

  void take(std::string keys) {
    if (keys.empty()) ended_ = true;
    while (!keys.empty()) {
      const char first = keys.front();
      typed_.emplace_back(takeKey(keys), first);
    }
    takeTyped();
    draw();
  }

  // Asks for the rows that fit.
  void search() {
    const int asked = ++asked_;
    searchContacts(query_, QFSearchFieldTypeAll, {first_, rows()})
        .then([weak = weak_from_this(), asked](const Result<ContactPage>& result) {
          // The browser has ended, or this is the answer to an earlier key.
          const auto self = weak.lock();
          if (!self || asked != self->asked_) return;
          self->answered_ = asked;
          self->problem_ = result ? "" : result.failure().text();
          self->found_ = result ? *result : ContactPage();
          self->takeTyped();
          self->draw();
        });
  }

 private:
  // Three lines above the rows and two below them.
  static std::int64_t rows() {
    return std::max<std::int64_t>(1, static_cast<std::int64_t>(terminalSize().rows) - 5);
  }

  // How far it moves on the screen.
  static std::int64_t linesBy(Key key) {
    if (key == Key::Up || key == Key::Down) return key == Key::Up ? -1 : 1;
    if (key == Key::PageUp || key == Key::PageDown) return key == Key::PageUp ? -rows() : rows();
    return 0;
  }

  // The keys that choose wait for the list that they are about.
  void takeTyped() {
    while (!typed_.empty() && !ended_) {
      const auto [key, character] = typed_.front();
      if (answered_ != asked_ && choosesRow(key)) return;
      typed_.pop_front();
      take(key, character);
    }
  }

  void take(Key key, char character) {
    if (key == Key::End || (key == Key::Escape && contact_.empty())) ended_ = true;
    const std::int64_t by = linesBy(key);
    if (!contact_.empty()) {
      top_ += by;
      if (by == 0 && key != Key::Other) contact_.clear();
      return;
    }
    if (key == Key::Enter) return open();
    if (by != 0) return move(by);
    if (key != Key::Character && key != Key::Erase) return;
    key == Key::Erase ? removeLastCharacter(query_) : query_.push_back(character);
    first_ = chosen_ = 0;
    search();
  }

  void move(std::int64_t by) {
    chosen_ =
        std::clamp<std::int64_t>(chosen_ + by, 0, std::max<std::int64_t>(found_.total - 1, 0));
    const std::int64_t least = chosen_ - rows() + 1;
    const std::int64_t first = std::clamp(first_, std::max<std::int64_t>(least, 0), chosen_);
    if (first == first_) return;
    first_ = first;
    search();
  }

  void open() {
    const std::int64_t row = chosen_ - first_;
    if (row >= std::ssize(found_.contacts)) return;
    const QFContact& contact = *found_.contacts[static_cast<std::size_t>(row)];
    contact_ =
        contactLines(contact, *session_.records().syncInfoForContactId(contact.identifier()));
    top_ = 0;
  }

  // What fits of the contact, from its line `top_` on.
  std::string shownContact(const TerminalSize& size) {
    std::vector<std::string> lines;
    for (const std::string& line : contact_) {
      const auto parts = folded(line, size.columns);
      lines.insert(lines.end(), parts.begin(), parts.end());
    }
    if (!lines.empty()) lines.front() = colored(lines.front(), Color::Bold);
    const std::int64_t fitting = std::max<std::int64_t>(1, std::int64_t(size.rows) - 1);
    top_ =
        std::clamp<std::int64_t>(top_, 0, std::max<std::int64_t>(std::ssize(lines) - fitting, 0));
    std::string out;
    for (std::int64_t i = top_; i < std::min(top_ + fitting, std::ssize(lines)); ++i)
      out += lines[static_cast<std::size_t>(i)] + "\r\n";
    return out;
  }

  void draw() {
    const TerminalSize size = terminalSize();
    const std::size_t width = size.columns;
    std::string screen = "\x1b[?25l\x1b[H\x1b[J" + shownContact(size);
    // The end of what is wider than the screen.
    const std::string query = folded(harmless(query_), width > 3 ? width - 3 : 1).back();
    if (contact_.empty()) screen += "> " + query + "\x1b[s\r\n\r\n" + list(width);
    if (contact_.empty()) screen += "\x1b[u\x1b[?25h";
    std::cerr << screen << std::flush;
  }

  std::string list(std::size_t width) const {
    constexpr std::size_t kName = 30;
    std::string out;
    for (std::size_t i = 0; i < found_.contacts.size(); ++i) {
      const QFContact& contact = *found_.contacts[i];
      const bool chosen = static_cast<std::int64_t>(i) + first_ == chosen_;
      const std::string line =
          column(contact.displayName().value_or(""), kName) + "  " + contact.displayInfo();
      out += (chosen ? "\x1b[7m  " : "  ") + column(line, width > 4 ? width - 4 : 0) +
             (chosen ? "\x1b[0m\r\n" : "\r\n");
    }
    const std::string state = problem_.empty() ? std::to_string(found_.total) + " found. " +
                                                     "Arrows choose, Enter shows, Escape ends."
                                               : harmless(problem_);
    return out + "\r\n  " + column(state, width > 4 ? width - 4 : 0);
  }

  Session& session_;
  std::string query_;
  ContactPage found_;
  std::string problem_;
  // The keys that have not been looked at yet.
  std::deque<std::pair<Key, char>> typed_;
  // The lines of the contact that is shown, none while the list is, and the first on the screen.
  std::vector<std::string> contact_;
  std::int64_t top_ = 0;
  // Of all that is found: the first row on the screen, and the chosen one.
  std::int64_t first_ = 0;
  std::int64_t chosen_ = 0;
  int asked_ = 0;
  int answered_ = 0;
  bool ended_ = false;
};

}  // namespace

int browseCommand(Session& session) {
  if (!onTerminal()) throw WrongUsage("browse needs a terminal");
  session.requestAccess();
  session.readRecords();
  const auto browser = std::make_shared<Browser>(session);
  const KeyTerminal terminal([browser](const std::optional<std::string>& keys) {
    keys ? browser->take(*keys) : browser->resize();
  });
  browser->search();
  session.runUntil([&browser] { return browser->hasEnded(); });
  if (!browser->hasEnded()) throw Interrupted();
  return 0;
}

}  // namespace host
