#include <algorithm>
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

enum class Key { Character, Up, Down, PageUp, PageDown, Enter, Erase, Escape, End, Other };

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
    const bool alone = bytes.size() == 1;
    bytes.clear();
    return alone ? Key::Escape : Key::Other;
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

  void take(std::string keys) {
    if (keys.empty()) ended_ = true;
    while (!keys.empty() && !ended_) {
      const char first = keys.front();
      take(takeKey(keys), first);
    }
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
          self->problem_ = result ? "" : result.failure().text();
          self->found_ = result ? *result : ContactPage();
          self->draw();
        });
  }

 private:
  // Three lines above the rows and two below them.
  static std::int64_t rows() {
    return std::max<std::int64_t>(1, static_cast<std::int64_t>(terminalSize().rows) - 5);
  }

  void take(Key key, char character) {
    if (key == Key::End || (key == Key::Escape && contact_.empty())) ended_ = true;
    if (key == Key::Enter && contact_.empty()) return open();
    if (!contact_.empty()) {
      if (key != Key::Other) contact_.clear();
      return;
    }
    if (key == Key::Up) move(-1);
    if (key == Key::Down) move(1);
    if (key == Key::PageUp) move(-rows());
    if (key == Key::PageDown) move(rows());
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
  }

  void draw() const {
    const std::size_t width = terminalSize().columns;
    std::string screen = "\x1b[?25l\x1b[H\x1b[J";
    for (const std::string& line : contact_)
      screen += line + "\r\n";
    if (contact_.empty()) screen += "> " + harmless(query_) + "\x1b[s\r\n\r\n" + list(width);
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
  // The lines of the contact that is shown; none while the list is.
  std::vector<std::string> contact_;
  // Of all that is found: the first row on the screen, and the chosen one.
  std::int64_t first_ = 0;
  std::int64_t chosen_ = 0;
  int asked_ = 0;
  bool ended_ = false;
};

}  // namespace

int browseCommand(Session& session) {
  if (!onTerminal()) throw WrongUsage("browse needs a terminal");
  session.requestAccess();
  const auto browser = std::make_shared<Browser>(session);
  const KeyTerminal terminal([browser](const std::string& keys) { browser->take(keys); });
  browser->search();
  session.runUntil([&browser] { return browser->hasEnded(); });
  if (!browser->hasEnded()) throw Interrupted();
  return 0;
}

}  // namespace host
