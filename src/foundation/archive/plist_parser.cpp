#include "foundation/archive/plist_parser.h"

#include <bit>

#include "foundation/text.h"

namespace quillfold::plist {

namespace {

// A walk over an honest file takes less than a fourth of this, with every
// string shared as widely as writers share them.
constexpr std::uint64_t kAllowanceBase = 16 << 20;
constexpr std::uint64_t kAllowancePerByte = 64;
constexpr std::uint64_t kObjectCost = 32;

unsigned byteAt(std::string_view bytes, std::uint64_t index) {
  return static_cast<unsigned char>(bytes[index]);
}

}  // namespace

Parser::Parser(std::string_view bytes)
    : bytes_(bytes), allowance_(kAllowanceBase + kAllowancePerByte * bytes.size()) {
  readTrailer();
}

void Parser::readTrailer() {
  if (bytes_.size() < kMagic.size() + 1 + 1 + kTrailerSize || !bytes_.starts_with(kMagic)) {
    throw Malformed("it is no binary property list");
  }
  const std::uint64_t tableEnd = bytes_.size() - kTrailerSize;
  trailer_.offsetWidth = byteAt(bytes_, tableEnd + 6);
  trailer_.referenceWidth = byteAt(bytes_, tableEnd + 7);
  trailer_.objectCount = numberAt(tableEnd + 8, 8);
  trailer_.rootObject = numberAt(tableEnd + 16, 8);
  trailer_.offsetTable = numberAt(tableEnd + 24, 8);
  const bool widthsFit = trailer_.offsetWidth >= 1 && trailer_.offsetWidth <= 8 &&
                         trailer_.referenceWidth >= 1 && trailer_.referenceWidth <= 8;
  // Every writer puts the table right before the trailer: anything else is a
  // file that has lost a part.
  if (!widthsFit || trailer_.offsetTable <= kMagic.size() || trailer_.offsetTable > tableEnd ||
      (tableEnd - trailer_.offsetTable) % trailer_.offsetWidth != 0 ||
      (tableEnd - trailer_.offsetTable) / trailer_.offsetWidth != trailer_.objectCount ||
      trailer_.rootObject >= trailer_.objectCount) {
    throw Malformed("its trailer is wrong");
  }
}

void Parser::spend(std::uint64_t amount) {
  if (amount > allowance_) throw Malformed("its references lead in circles or repeat too much");
  allowance_ -= amount;
}

std::uint64_t Parser::numberAt(std::uint64_t offset, unsigned width) const {
  std::uint64_t value = 0;
  for (unsigned i = 0; i < width; ++i)
    value = (value << 8) | byteAt(bytes_, offset + i);
  return value;
}

// The next bytes of an object, which may not reach into the offset table.
std::string_view Parser::take(std::uint64_t& offset, std::uint64_t size) const {
  if (size > trailer_.offsetTable - offset) throw Malformed("an object reaches beyond its end");
  const auto taken = bytes_.substr(offset, size);
  offset += size;
  return taken;
}

Object Parser::objectAt(std::uint64_t number) {
  if (number >= trailer_.objectCount) throw Malformed("a reference is out of range");
  spend(kObjectCost);
  const std::uint64_t entry = trailer_.offsetTable + number * trailer_.offsetWidth;
  std::uint64_t offset = numberAt(entry, trailer_.offsetWidth);
  if (offset < kMagic.size() || offset >= trailer_.offsetTable) {
    throw Malformed("an object's offset is out of range");
  }
  const unsigned first = byteAt(bytes_, offset++);
  const unsigned low = first & 0x0F;
  switch (const auto marker = static_cast<Marker>(first & 0xF0); marker) {
    case Marker::simple:
      if (first != kTrue && first != kFalse) break;
      return {.kind = Kind::boolean, .integer = first == kTrue ? 1 : 0};
    case Marker::integer:
      return integerAt(offset, low);
    case Marker::real:
    case Marker::date: {
      Object object = realAt(offset, low);
      if (marker == Marker::date) {
        object.kind = Kind::date;
        object.real += kReferenceDate;
      }
      return object;
    }
    case Marker::uid:
      return uidAt(offset, low);
    case Marker::data:
    case Marker::asciiString:
    case Marker::utf16String:
    case Marker::array:
    case Marker::dictionary:
      return countedAt(offset, marker, low);
  }
  throw Malformed("an object is of an unknown type");
}

unsigned Parser::takeWidth(unsigned low, unsigned largest) const {
  if (low > largest) throw Malformed("a number is too wide");
  return 1U << low;
}

Object Parser::integerAt(std::uint64_t offset, unsigned low) const {
  const unsigned width = takeWidth(low, 4);
  const auto at = offset;
  take(offset, width);
  // Numbers of up to four bytes have no sign, those of eight and sixteen do.
  if (width <= 8) {
    return {.kind = Kind::integer, .integer = static_cast<std::int64_t>(numberAt(at, width))};
  }
  const auto high = static_cast<std::int64_t>(numberAt(at, 8));
  const auto bits = numberAt(at + 8, 8);
  const auto integer = static_cast<std::int64_t>(bits);
  if (high == (integer < 0 ? -1 : 0)) return {.kind = Kind::integer, .integer = integer};
  constexpr double kTwoTo64 = 18446744073709551616.0;
  return {.kind = Kind::real,
          .real = static_cast<double>(high) * kTwoTo64 + static_cast<double>(bits)};
}

Object Parser::realAt(std::uint64_t offset, unsigned low) const {
  const unsigned width = takeWidth(low, 3);
  const auto at = offset;
  take(offset, width);
  const auto bits = numberAt(at, width);
  if (width == 8) return {.kind = Kind::real, .real = std::bit_cast<double>(bits)};
  if (width != 4) throw Malformed("a real number has an unknown width");
  const auto real = std::bit_cast<float>(static_cast<std::uint32_t>(bits));
  return {.kind = Kind::real, .real = static_cast<double>(real)};
}

Object Parser::uidAt(std::uint64_t offset, unsigned low) const {
  const unsigned width = low + 1;
  const auto content = take(offset, width);
  const unsigned surplus = width > 8 ? width - 8 : 0;
  if (content.substr(0, surplus).find_first_not_of('\0') != std::string_view::npos) {
    return {.kind = Kind::uid, .uid = UINT64_MAX};
  }
  return {.kind = Kind::uid, .uid = numberAt(offset - width + surplus, width - surplus)};
}

Object Parser::countedAt(std::uint64_t offset, Marker marker, unsigned low) const {
  std::uint64_t count = low;
  if (low == kCountFollows) {
    const unsigned first = byteAt(take(offset, 1), 0);
    if ((first & 0xF0) != static_cast<unsigned>(Marker::integer)) {
      throw Malformed("a count is no integer");
    }
    const Object stated = integerAt(offset, first & 0x0F);
    if (stated.kind != Kind::integer || stated.integer < 0) throw Malformed("a count is too large");
    count = static_cast<std::uint64_t>(stated.integer);
    offset += 1U << (first & 0x0F);
  }
  // No count beyond the file's size: the products below can't overflow.
  if (count > bytes_.size()) throw Malformed("a count is larger than the file");
  switch (marker) {
    case Marker::data:
      return {.kind = Kind::data, .bytes = take(offset, count)};
    case Marker::asciiString:
      return {.kind = Kind::string, .bytes = take(offset, count)};
    case Marker::utf16String:
      return {.kind = Kind::string, .wide = true, .bytes = take(offset, count * 2)};
    case Marker::array:
      return {.kind = Kind::array,
              .count = count,
              .bytes = take(offset, count * trailer_.referenceWidth)};
    default:
      return {.kind = Kind::dictionary,
              .count = count,
              .bytes = take(offset, count * 2 * trailer_.referenceWidth)};
  }
}

std::uint64_t Parser::reference(const Object& container, std::uint64_t index) const {
  const auto begin = static_cast<std::uint64_t>(container.bytes.data() - bytes_.data());
  return numberAt(begin + index * trailer_.referenceWidth, trailer_.referenceWidth);
}

std::string Parser::text(const Object& string) {
  spend(string.bytes.size());
  if (!string.wide) return text::sanitized(string.bytes);
  std::u16string units(string.bytes.size() / 2, u'\0');
  for (std::size_t i = 0; i < units.size(); ++i) {
    const unsigned unit = byteAt(string.bytes, 2 * i) << 8 | byteAt(string.bytes, 2 * i + 1);
    units[i] = static_cast<char16_t>(unit);
  }
  return text::utf8Of(units);
}

bool Parser::isText(const Object& object, std::string_view expected) {
  if (object.kind != Kind::string) return false;
  return object.wide ? text(object) == expected : object.bytes == expected;
}

}  // namespace quillfold::plist
