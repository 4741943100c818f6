#include "adapters/vcard/unfolding.h"

#include <algorithm>
#include <utility>

#include "adapters/vcard/ascii.h"

namespace quillfold::vcard {

namespace {

constexpr std::size_t kMaximumParts = 64;

bool isTrailing(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// Whether the text ends in the middle of a character of UTF-8.
bool endsInsideCharacter(std::string_view text) {
  std::size_t trailing = 0;
  while (trailing < 3 && trailing < text.size() && isTrailing(text[text.size() - 1 - trailing])) {
    ++trailing;
  }
  if (trailing == text.size()) return false;
  const auto lead = static_cast<unsigned char>(text[text.size() - 1 - trailing]);
  const std::size_t needed = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC0 ? 1 : 0;
  return trailing < needed;
}

std::size_t unquotedSemicolon(std::string_view text) {
  bool quoted = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '"') quoted = !quoted;
    if (text[i] == ';' && !quoted) return i;
  }
  return std::string_view::npos;
}

// Most parameters name no encoding, as their first letter tells.
bool mayNameEncoding(std::string_view parameter) {
  const char first = parameter.empty() ? '\0' : lowercase(parameter.front());
  return first == 'e' || first == 'q' || first == 'b' || first == '"' || isBlank(first);
}

}  // namespace

void Unfolder::unfold(const RawCard& card, bool quotes,
                      const std::function<void(const LogicalLine&)>& onLine) {
  version21_ = card.version21;
  quotes_ = quotes;
  onLine_ = &onLine;
  joined_.clear();
  for (const PhysicalLine& line : card.lines)
    add(line);
  close();
}

void Unfolder::add(const PhysicalLine& line) {
  if (line.text.empty()) {
    // Some writers end a text with a soft break and an empty line.
    if (open_ && endsWithSoftBreak()) close();
  } else if (open_ && endsWithSoftBreak()) {
    removeSoftBreak();
    append(line.text);
  } else if (open_ && isBlank(line.text.front())) {
    append(continuation(line.text));
  } else if (open_ && isBareBase64(withoutTrailingBlanks(line.text))) {
    append(line.text);
  } else {
    close();
    start(line);
  }
}

void Unfolder::start(const PhysicalLine& line) {
  open_ = true;
  folded_ = quoted_ = false;
  scanned_ = 0;
  line_.text = last_ = line.text;
  line_.number = line.number;
  line_.colon = std::string_view::npos;
  line_.encoding = Encoding::None;
  findColon();
}

void Unfolder::append(std::string_view piece) {
  if (!folded_) joined_.emplace_back(line_.text);
  folded_ = true;
  joined_.back() += piece;
  line_.text = joined_.back();
  last_ = piece;
  if (line_.colon == std::string_view::npos) findColon();
}

void Unfolder::close() {
  if (!open_) return;
  open_ = false;
  if (line_.colon == std::string_view::npos) {
    // A quote that is never closed hides it.
    endHeader(line_.text.find(':'));
  } else if (folded_) {
    // What it was split into may have moved since.
    splitHeader();
  }
  if (endsWithSoftBreak()) removeSoftBreak();
  (*onLine_)(line_);
}

// Goes on from where it was: the colon counts outside of quotes.
void Unfolder::findColon() {
  if (!quotes_) return endHeader(line_.text.find(':', std::exchange(scanned_, line_.text.size())));
  for (; scanned_ < line_.text.size(); ++scanned_) {
    if (line_.text[scanned_] == '"') quoted_ = !quoted_;
    if (line_.text[scanned_] == ':' && !quoted_) return endHeader(scanned_);
  }
}

void Unfolder::endHeader(std::size_t colon) {
  line_.colon = colon;
  if (colon == std::string_view::npos) return;
  splitHeader();
  for (std::size_t i = 1; i < line_.header.size(); ++i) {
    if (!mayNameEncoding(line_.header[i])) continue;
    const Encoding encoding = encodingOfParameter(line_.header[i]);
    if (encoding != Encoding::None) line_.encoding = encoding;
  }
}

// The ";" counts outside of quotes, too.
void Unfolder::splitHeader() {
  std::string_view rest = line_.text.substr(0, line_.colon);
  line_.header.clear();
  while (line_.header.size() + 1 < kMaximumParts) {
    const std::size_t end = quotes_ ? unquotedSemicolon(rest) : rest.find(';');
    if (end == std::string_view::npos) break;
    line_.header.push_back(rest.substr(0, end));
    rest.remove_prefix(end + 1);
  }
  line_.header.push_back(rest);
}

bool Unfolder::endsWithSoftBreak() const {
  return line_.encoding == Encoding::QuotedPrintable && withoutTrailingBlanks(last_).ends_with('=');
}

void Unfolder::removeSoftBreak() {
  line_.text = withoutTrailingBlanks(line_.text);
  line_.text.remove_suffix(1);
  if (folded_) joined_.back().resize(line_.text.size());
}

// Some writers don't indent the lines of a picture.
bool Unfolder::isBareBase64(std::string_view text) const {
  return line_.encoding == Encoding::Base64 && std::all_of(text.begin(), text.end(), isBase64);
}

// Version 2.1 folds in front of a blank that belongs to the text, later ones add one.
std::string_view Unfolder::continuation(std::string_view text) const {
  const bool insideCharacter =
      text.size() > 1 && isTrailing(text[1]) && endsInsideCharacter(line_.text);
  const bool blankIsText = version21_ && line_.colon != std::string_view::npos &&
                           line_.encoding == Encoding::None && !insideCharacter;
  return blankIsText ? text : text.substr(1);
}

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

}  // namespace quillfold::vcard
