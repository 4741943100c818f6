#include "foundation/archive/plist_encoding.h"

#include <bit>

#include "foundation/text.h"

namespace quillfold::plist {

void storeNumber(char* to, std::uint64_t value, unsigned width) {
  for (unsigned i = width; i-- > 0; value >>= 8)
    to[i] = static_cast<char>(value & 0xFF);
}

void appendNumber(std::string& out, std::uint64_t value, unsigned width) {
  char bytes[8];
  storeNumber(bytes, value, width);
  out.append(bytes, width);
}

unsigned widthFor(std::uint64_t value) {
  if (value <= UINT8_MAX) return 1;
  if (value <= UINT16_MAX) return 2;
  return value <= UINT32_MAX ? 4 : 8;
}

void appendHeader(std::string& out, Marker marker, std::uint64_t count) {
  if (count < kCountFollows) return out.push_back(firstByte(marker, static_cast<unsigned>(count)));
  out.push_back(firstByte(marker, kCountFollows));
  appendInteger(out, static_cast<std::int64_t>(count));
}

void appendBool(std::string& out, bool value) {
  out.push_back(static_cast<char>(value ? kTrue : kFalse));
}

void appendInteger(std::string& out, std::int64_t value) {
  // Only the width of eight bytes has a sign.
  const auto bits = static_cast<std::uint64_t>(value);
  const unsigned width = widthFor(bits);
  out.push_back(firstByte(Marker::integer, logarithmOf(width)));
  appendNumber(out, bits, width);
}

void appendReal(std::string& out, double value) {
  out.push_back(firstByte(Marker::real, logarithmOf(8)));
  appendNumber(out, std::bit_cast<std::uint64_t>(value), 8);
}

void appendDate(std::string& out, double seconds) {
  out.push_back(firstByte(Marker::date, logarithmOf(8)));
  appendNumber(out, std::bit_cast<std::uint64_t>(seconds - kReferenceDate), 8);
}

void appendData(std::string& out, std::string_view bytes) {
  appendHeader(out, Marker::data, bytes.size());
  out += bytes;
}

void appendString(std::string& out, std::string_view utf8) {
  if (text::isASCII(utf8)) {
    appendHeader(out, Marker::asciiString, utf8.size());
    out += utf8;
    return;
  }
  const std::u16string units = text::utf16Of(utf8);
  appendHeader(out, Marker::utf16String, units.size());
  std::size_t place = out.size();
  out.resize(place + 2 * units.size());
  for (const char16_t unit : units) {
    storeNumber(out.data() + place, unit, 2);
    place += 2;
  }
}

void appendUID(std::string& out, std::uint64_t value, unsigned width) {
  out.push_back(firstByte(Marker::uid, width - 1));
  appendNumber(out, value, width);
}

void appendTrailer(std::string& out, const Trailer& trailer) {
  out.append(6, '\0');
  appendNumber(out, trailer.offsetWidth, 1);
  appendNumber(out, trailer.referenceWidth, 1);
  appendNumber(out, trailer.objectCount, 8);
  appendNumber(out, trailer.rootObject, 8);
  appendNumber(out, trailer.offsetTable, 8);
}

}  // namespace quillfold::plist
