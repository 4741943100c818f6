// Texts of any bytes: Unicode, numbers, labels, phone numbers, e-mail addresses and what
// the change hash is taken of.
#include <algorithm>
#include <cstdlib>

#include "foundation/json.h"
#include "foundation/text.h"
#include "fuzz/subject.h"
#include "model/contact.h"

namespace quillfold::fuzz::texts {
namespace {

constexpr std::string_view kEmailCharacters = "abcdefghijklmnopqrstuvwxyz0123456789.@_-";

// UTF-8 by its definition; absent where the bytes are none.
std::optional<std::u16string> plainUnits(std::string_view bytes) {
  std::u16string units;
  while (!bytes.empty()) {
    const auto at = [&](std::size_t i) {
      return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0U;
    };
    const std::size_t size = at(0) < 0x80 ? 1 : at(0) < 0xE0 ? 2 : at(0) < 0xF0 ? 3 : 4;
    if ((at(0) >= 0x80 && at(0) < 0xC2) || at(0) > 0xF4) return std::nullopt;
    std::uint32_t c = size == 1 ? at(0) : at(0) & (0x7FU >> size);
    for (std::size_t i = 1; i < size; ++i) {
      if ((at(i) & 0xC0) != 0x80) return std::nullopt;
      c = c << 6 | (at(i) & 0x3F);
    }
    constexpr std::uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (c < kSmallest[size] || c > 0x10FFFF || (c >= 0xD800 && c < 0xE000)) return std::nullopt;
    if (c >= 0x10000) {
      units += static_cast<char16_t>(0xD7C0 + (c >> 10));
      c = 0xDC00 | (c & 0x3FF);
    }
    units += static_cast<char16_t>(c);
    bytes.remove_prefix(size);
  }
  return units;
}

void checkUnits(std::string_view text) {
  const std::string clean = text::sanitized(text);
  const auto units = plainUnits(clean);
  require(units && text::isValidUTF8(clean));
  require(plainUnits(text).has_value() == (clean == text));
  require(text::isValidUTF8(text) == (clean == text));
  require(text::utf16Of(text) == *units && text::utf8Of(*units) == clean);
  const std::size_t length = text::length(text);
  require(length == units->size());
  for (const std::size_t n : {std::size_t{0}, std::size_t{1}, std::size_t{10}, std::size_t{20},
                              length / 2, length - std::min<std::size_t>(length, 1), length + 1}) {
    const std::size_t cut = std::min(n, length);
    require(text::sanitized(text::prefix(text, n)) == text::utf8Of(units->substr(0, cut)));
    require(text::sanitized(text::suffix(text, n)) == text::utf8Of(units->substr(length - cut)));
  }
}

void checkCharacters(std::string_view text) {
  for (const auto& change : {text::lowercaseString, text::uppercaseString}) {
    const std::string changed = change(text);
    require(text::isValidUTF8(changed) && change(changed) == changed);
  }
  for (const auto& trim : {text::trimmingWhitespace, text::trimmingWhitespaceAndNewlines}) {
    const std::string trimmed = trim(text);
    require(text.find(trimmed) != text.npos && trim(trimmed) == trimmed);
  }
  const auto words = text::wordsOf(text);
  require(words == text::wordsOf(text::trimmingWhitespaceAndNewlines(text)));
  for (const std::string& word : words)
    require(!word.empty() && text::wordsOf(word) == std::vector{word});
  const std::string digits = text::decimalDigits(text);
  require(text::isValidUTF8(digits) && text::decimalDigits(digits) == digits);
}

void checkNumbers(std::string_view text) {
  const std::string trimmed = text::trimmingWhitespaceAndNewlines(text);
  require(text::integerValue(text) == std::strtoll(trimmed.c_str(), nullptr, 10));
  // The C library also reads hexadecimal, "inf" and "nan".
  const double number = text::doubleValue(text);
  require(number == number);
  if (trimmed.find_first_of("xXiInN") != trimmed.npos) return;
  require(number == std::strtod(trimmed.c_str(), nullptr));
  require(text::boolValue(trimmed) == text::boolValue(text));
}

int signOf(int value) {
  return value < 0 ? -1 : value > 0;
}

void checkOrder(std::string_view a, std::string_view b) {
  const int order = text::compare(a, b);
  require(signOf(order) == -signOf(text::compare(b, a)) && text::compare(a, a) == 0);
  require(signOf(order) == signOf(text::sortKey(a).compare(text::sortKey(b))));
  const text::Folded folded = text::folded(a);
  require(text::isValidUTF8(folded.bytes) && text::folded(folded.bytes).bytes == folded.bytes);
  require(std::is_sorted(folded.inner.begin(), folded.inner.end()));
  require(folded.inner.empty() || folded.inner.back() < folded.bytes.size());
  // What is equal sorts alike and is found alike.
  if (order == 0) require(folded.bytes == text::folded(b).bytes);
}

void checkLabel(const QFContact& contact, const std::string& text) {
  const std::string label = contact.normalizeLabel(text);
  require(!label.empty() && text::lowercaseString(label) == label);
  require(contact.normalizeLabel(text::lowercaseString(text)) == label);
}

void checkPhone(const QFContact& contact, const std::string& text) {
  const std::u16string digits = text::utf16Of(text::decimalDigits(text));
  const std::size_t compared = std::min<std::size_t>(digits.size(), 10);
  require(QFContact::normalizePhoneNumber(text) ==
          text::utf8Of(digits.substr(digits.size() - compared)));
  require(contact.normalizePhoneNumberForMatching(text) == text::utf8Of(digits.substr(0, 20)));
}

void checkEmail(const QFContact& contact, const std::string& text) {
  std::string kept = text::lowercaseString(text);
  std::erase_if(kept, [](char c) { return kEmailCharacters.find(c) == std::string_view::npos; });
  const std::string email = contact.normalizeEmailForMatching(text);
  require(email == kept.substr(0, 50) && contact.normalizeEmailForMatching(email) == email);
}

// A contact of the lines of a text.
QFContactPtr contactOf(const std::vector<std::string>& lines) {
  const auto contact = QFContact::initWithIdentifier("id");
  const auto line = [&](std::size_t i) {
    return i < lines.size() ? OptionalString(lines[i]) : std::nullopt;
  };
  contact->setGivenName(line(0));
  contact->setFamilyName(line(1));
  contact->setOrganizationName(line(2));
  contact->setNotes(line(3));
  for (std::size_t i = 4; i < lines.size(); ++i) {
    auto phones = contact->phoneNumbers();
    phones.push_back(QFContactPhoneNumber::initWithContactId("id", lines[i], lines[i]));
    contact->setPhoneNumbers(std::move(phones));
  }
  contact->setMatchString(contact->generateMatchString());
  return contact;
}

void checkHash(const std::vector<std::string>& lines) {
  const auto contact = contactOf(lines);
  std::string plain;
  const auto add = [&](const OptionalString& text) {
    if (text) plain += *text + ' ';
  };
  add(contact->givenName());
  add(contact->familyName());
  add(contact->organizationName());
  for (const auto& phone : contact->phoneNumbers())
    add(contact->normalizePhoneNumberForMatching(phone->value()));
  add(contact->notes());
  require(contact->matchString() == text::trimmingWhitespace(plain));

  const std::string hash = contact->generateContactHash();
  require(hash.size() == 64 && hash.find_first_not_of("0123456789abcdef") == hash.npos);
  require(hash == contact->sha256(contact->matchString()->c_str()));
  const auto copy = contact->copyWithZone();
  require(contact->isEqualToContact(copy) && copy->generateContactHash() == hash);

  const Value form = contact->toServerContactWithOrganizationId("o", "s");
  const auto json = NSJSONSerialization::dataWithJSONObject(form);
  require(json && NSJSONSerialization::JSONObjectWithData(*json).has_value());
  require(text::isValidUTF8(text::sanitized(contact->contactSectionForName())));
}

void run(std::string_view bytes) {
  std::vector<std::string> lines;
  for (std::size_t begin = 0; begin <= bytes.size();) {
    const std::size_t end = std::min(bytes.find('\n', begin), bytes.size());
    lines.emplace_back(bytes.substr(begin, end - begin));
    begin = end + 1;
  }
  checkUnits(bytes);
  checkCharacters(bytes);
  checkNumbers(bytes);
  checkOrder(lines.front(), lines.back());
  checkHash(lines);
  const auto contact = QFContact::initWithIdentifier("id");
  checkLabel(*contact, std::string(bytes));
  checkPhone(*contact, std::string(bytes));
  checkEmail(*contact, std::string(bytes));
}

const Subject subject("texts", run);

}  // namespace
}  // namespace quillfold::fuzz::texts
