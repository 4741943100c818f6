#include "adapters/vcard/card_splitter.h"

#include "adapters/vcard/ascii.h"

namespace quillfold::vcard {

namespace {

bool isBoundary(std::string_view line, std::string_view word) {
  const std::size_t colon = line.find(':');
  return colon != std::string_view::npos &&
         equalIgnoringCase(withoutTrailingBlanks(line.substr(0, colon)), word) &&
         equalIgnoringCase(withoutBlanks(line.substr(colon + 1)), "VCARD");
}

// Whether the line announces that the next BEGIN belongs to the card of an agent.
bool announcesAgent(std::string_view line) {
  const std::string_view name = line.substr(0, line.find_first_of(":;"));
  return line.ends_with(':') && equalIgnoringCase(name.substr(name.find('.') + 1), "AGENT");
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
    if (isBoundary(text, "BEGIN")) {
      begin(line.number);
    } else if (isBoundary(text, "END") && inside_) {
      end();
    } else if (inside_ && agents_ == 0) {
      if (card_.lines.size() < kMaximumLines) card_.lines.push_back(line);
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
  void begin(std::size_t number) {
    if (inside_ && announcesAgent(previous_)) {
      ++agents_;
      return;
    }
    if (inside_) reportMissingEnd();
    inside_ = true;
    strayReported_ = false;
    agents_ = 0;
    card_.number += 1;
    card_.line = number;
    card_.lines.clear();
    lineCount_ = 0;
  }

  void end() {
    if (agents_ > 0) {
      --agents_;
      return;
    }
    inside_ = false;
    if (lineCount_ > kMaximumLines) {
      onProblem_({card_.number, card_.line, "the card has too many lines and is left out", true});
    } else {
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

}  // namespace

void splitCards(std::string_view text, const std::function<void(const RawCard&)>& onCard,
                const std::function<void(VCardProblem)>& onProblem) {
  CardSplitter splitter(onCard, onProblem);
  std::size_t number = 0;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
    splitter.add({text.substr(0, end), ++number});
    text.remove_prefix(end);
    if (text.starts_with("\r\n")) text.remove_prefix(1);
    if (!text.empty()) text.remove_prefix(1);
  }
  splitter.finish();
}

}  // namespace quillfold::vcard
