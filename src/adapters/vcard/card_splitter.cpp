#include "adapters/vcard/card_splitter.h"

#include "adapters/vcard/ascii.h"

namespace quillfold::vcard {

namespace {

bool isBoundary(std::string_view line, std::string_view word) {
  if (!startsWithIgnoringCase(line, word)) return false;
  const std::string_view rest = withoutBlanks(line.substr(word.size()));
  return rest.starts_with(':') && equalIgnoringCase(withoutBlanks(rest.substr(1)), "VCARD");
}

// Whether the line announces that the next BEGIN belongs to the card of an agent.
bool announcesAgent(std::string_view line) {
  const std::string_view name = line.substr(0, line.find_first_of(":;"));
  return line.ends_with(':') && equalIgnoringCase(name.substr(name.find('.') + 1), "AGENT");
}

// Whether the line is an agent and the BEGIN of its card in one.
bool beginsAgent(std::string_view line) {
  const std::size_t colon = line.find(':');
  return colon != std::string_view::npos && announcesAgent(line.substr(0, colon + 1)) &&
         isBoundary(line.substr(colon + 1), "BEGIN");
}

// A picture of some 20 MB; behind that many lines a card only costs memory.
constexpr std::size_t kMaximumLines = 400'000;

class CardSplitter {
 public:
  CardSplitter(const std::function<void(const RawCard&)>& onCard,
               const std::function<void(VCardProblem)>& onProblem)
      : onCard_(onCard), onProblem_(onProblem) {}

  void add(PhysicalLine line) {
    const std::string_view text = withoutTrailingBlanks(line.text);
    const char first = text.empty() ? '\0' : lowercase(text.front());
    if (first == 'b' && isBoundary(text, "BEGIN")) {
      begin(line);
    } else if (first == 'e' && isBoundary(text, "END") && inside_) {
      end(line.text);
    } else if (inside_ && !text.empty() && lowercase(text.back()) == 'd' && beginsAgent(text)) {
      ++agents_;
    } else if (inside_ && agents_ == 0) {
      if (card_.lines.size() < kMaximumLines) card_.lines.push_back(line);
      if (first == 'v' && equalIgnoringCase(text, "VERSION:2.1")) card_.version21 = true;
      lineCount_ += 1;
    } else if (!inside_ && !text.empty()) {
      reportStray(line.number);
    }
    if (!text.empty()) previous_ = text;
  }

  void finish() {
    if (inside_) reportMissingEnd();
  }

 private:
  void begin(const PhysicalLine& line) {
    if (inside_ && announcesAgent(previous_)) {
      ++agents_;
      return;
    }
    if (inside_) reportMissingEnd();
    inside_ = true;
    strayReported_ = false;
    agents_ = 0;
    card_.number += 1;
    card_.text = line.text;
    card_.line = line.number;
    card_.version21 = false;
    card_.lines.clear();
    lineCount_ = 0;
  }

  void end(std::string_view line) {
    if (agents_ > 0) {
      --agents_;
      return;
    }
    inside_ = false;
    if (lineCount_ > kMaximumLines) {
      onProblem_({card_.number, card_.line, "the card has too many lines and is left out", true});
    } else {
      const char* const start = card_.text.data();
      card_.text = {start, static_cast<std::size_t>(line.data() + line.size() - start)};
      onCard_(card_);
    }
  }

  void reportMissingEnd() {
    onProblem_({card_.number, card_.line, "the card has no END:VCARD and is left out", true});
  }

  void reportStray(std::size_t number) {
    if (strayReported_) return;
    strayReported_ = true;
    onProblem_({0, number, "text outside of a card is left out"});
  }

  const std::function<void(const RawCard&)>& onCard_;
  const std::function<void(VCardProblem)>& onProblem_;
  RawCard card_;
  bool inside_ = false;
  std::size_t agents_ = 0;
  std::size_t lineCount_ = 0;
  bool strayReported_ = false;
  std::string_view previous_;
};

// Cuts a text at CR, LF and CR LF.
class LineCutter {
 public:
  explicit LineCutter(std::string_view text) : text_(text) {}

  bool atEnd() const { return at_ == text_.size(); }

  std::string_view next() {
    const std::size_t start = at_;
    const std::size_t end = std::min(nextOf('\r', return_), nextOf('\n', feed_));
    const bool both = end + 1 < text_.size() && text_[end] == '\r' && text_[end + 1] == '\n';
    at_ = std::min(end + (both ? 2 : 1), text_.size());
    return text_.substr(start, end - start);
  }

 private:
  // Where the next such character is; `found` remembers it from line to line, or a text
  // with one kind of line ends would be searched for the other one again and again.
  std::size_t nextOf(char c, std::size_t& found) const {
    if (found < at_ || at_ == 0) found = std::min(text_.find(c, at_), text_.size());
    return found;
  }

  const std::string_view text_;
  std::size_t at_ = 0;
  std::size_t return_ = 0;
  std::size_t feed_ = 0;
};

}  // namespace

void splitCards(std::string_view text, const std::function<void(const RawCard&)>& onCard,
                const std::function<void(VCardProblem)>& onProblem) {
  CardSplitter splitter(onCard, onProblem);
  std::size_t number = 0;
  for (LineCutter lines(text); !lines.atEnd();)
    splitter.add({lines.next(), ++number});
  splitter.finish();
}

}  // namespace quillfold::vcard
