#include "adapters/vcard/unfolding.h"

#include <algorithm>

#include "adapters/vcard/ascii.h"

namespace quillfold::vcard {

namespace {

bool declaresVersion21(const RawCard& card) {
  return std::any_of(card.lines.begin(), card.lines.end(), [](const PhysicalLine& line) {
    return equalIgnoringCase(withoutTrailingBlanks(line.text), "VERSION:2.1");
  });
}

// Whether the text ends in the middle of a character of UTF-8.
bool endsInsideCharacter(std::string_view text) {
  std::size_t trailing = 0;
  while (trailing < 3 && trailing < text.size() &&
         (static_cast<unsigned char>(text[text.size() - 1 - trailing]) & 0xC0) == 0x80) {
    ++trailing;
  }
  if (trailing == text.size()) return false;
  const auto lead = static_cast<unsigned char>(text[text.size() - 1 - trailing]);
  const std::size_t needed = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC0 ? 1 : 0;
  return trailing < needed;
}

class Unfolder {
 public:
  explicit Unfolder(bool version21) : version21_(version21) {}

  void add(const PhysicalLine& line) {
    if (line.text.empty()) {
      // Some writers end a text with a soft break and an empty line.
      if (open_ && endsWithSoftBreak()) close();
    } else if (open_ && endsWithSoftBreak()) {
      removeSoftBreak();
      append(line.text);
    } else if (open_ && isBlank(line.text.front())) {
      append(continuation(line.text));
    } else if (open_ && isBareBase64(line.text)) {
      append(line.text);
    } else {
      close();
      start(line);
    }
  }

  std::vector<LogicalLine> finish() {
    close();
    return std::move(lines_);
  }

 private:
  bool endsWithSoftBreak() const {
    return lines_.back().encoding == Encoding::QuotedPrintable &&
           withoutTrailingBlanks(last_).ends_with('=');
  }

  void removeSoftBreak() {
    std::string& text = lines_.back().text;
    text.resize(withoutTrailingBlanks(text).size() - 1);
  }

  // Some writers don't indent the lines of a picture.
  bool isBareBase64(std::string_view text) const {
    return lines_.back().encoding == Encoding::Base64 &&
           std::all_of(text.begin(), text.end(), isBase64);
  }

  // Version 2.1 folds in front of a blank that belongs to the text, later ones add one.
  std::string_view continuation(std::string_view text) const {
    const LogicalLine& last = lines_.back();
    const bool blankIsText = version21_ && last.colon != std::string::npos &&
                             last.encoding == Encoding::None && !endsInsideCharacter(last.text);
    return blankIsText ? text : text.substr(1);
  }

  void start(const PhysicalLine& line) {
    lines_.push_back({});
    lines_.back().number = line.number;
    open_ = true;
    scanned_ = 0;
    quoted_ = false;
    append(line.text);
  }

  void append(std::string_view text) {
    LogicalLine& last = lines_.back();
    last_ = text;
    last.text += text;
    for (; last.colon == std::string::npos && scanned_ < last.text.size(); ++scanned_) {
      if (last.text[scanned_] == '"') quoted_ = !quoted_;
      if (last.text[scanned_] == ':' && !quoted_) setColon(last, scanned_);
    }
  }

  void close() {
    if (!open_) return;
    open_ = false;
    LogicalLine& last = lines_.back();
    // A quote that is never closed hides the colon.
    if (last.colon == std::string::npos) {
      if (const std::size_t colon = last.text.find(':'); colon != std::string::npos) {
        setColon(last, colon);
      }
    }
    if (endsWithSoftBreak()) removeSoftBreak();
  }

  static void setColon(LogicalLine& line, std::size_t colon) {
    line.colon = colon;
    const std::string_view header = std::string_view(line.text).substr(0, colon);
    for (const std::string_view part : splitOutsideQuotes(header, ';', kMaximumParameters)) {
      const Encoding encoding = encodingOfParameter(part);
      if (encoding != Encoding::None) line.encoding = encoding;
    }
  }

  bool version21_;
  std::vector<LogicalLine> lines_;
  bool open_ = false;
  std::string_view last_;  // The piece that was appended last.
  std::size_t scanned_ = 0;
  bool quoted_ = false;
};

}  // namespace

Encoding encodingOfParameter(std::string_view parameter) {
  const std::size_t equals = parameter.find('=');
  const bool named = equals != std::string_view::npos;
  if (named && !equalIgnoringCase(withoutBlanks(parameter.substr(0, equals)), "ENCODING")) {
    return Encoding::None;
  }
  std::string_view value = withoutBlanks(named ? parameter.substr(equals + 1) : parameter);
  if (value.size() > 1 && value.front() == '"') value = value.substr(1, value.size() - 2);
  if (equalIgnoringCase(value, "QUOTED-PRINTABLE")) return Encoding::QuotedPrintable;
  if (equalIgnoringCase(value, "BASE64")) return Encoding::Base64;
  if (named && equalIgnoringCase(value, "B")) return Encoding::Base64;
  return Encoding::None;
}

std::vector<std::string_view> splitOutsideQuotes(std::string_view text, char separator,
                                                 std::size_t limit) {
  std::vector<std::string_view> parts;
  bool quoted = false;
  std::size_t start = 0;
  for (std::size_t i = 0; i < text.size() && parts.size() + 1 < limit; ++i) {
    if (text[i] == '"') quoted = !quoted;
    if (text[i] != separator || quoted) continue;
    parts.push_back(text.substr(start, i - start));
    start = i + 1;
  }
  parts.push_back(text.substr(start));
  return parts;
}

std::vector<LogicalLine> unfolded(const RawCard& card) {
  Unfolder unfolder(declaresVersion21(card));
  for (const PhysicalLine& line : card.lines)
    unfolder.add(line);
  return unfolder.finish();
}

}  // namespace quillfold::vcard
