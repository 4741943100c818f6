#include "foundation/archive/plist_encoding.h"

#include <bit>

#include "foundation/archive/plist_text.h"

namespace quillfold::plist {

namespace {

void appendMarker(std::string& out, Marker marker, unsigned low) {
  out.push_back(static_cast<char>(static_cast<unsigned>(marker) | low));
}

}  // namespace

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
  if (count < 15) return appendMarker(out, marker, static_cast<unsigned>(count));
  appendMarker(out, marker, 15);
  appendInteger(out, static_cast<std::int64_t>(count));
}

void appendBool(std::string& out, bool value) {
  out.push_back(static_cast<char>(value ? kTrue : kFalse));
}

void appendInteger(std::string& out, std::int64_t value) {
  // Only the width of eight bytes has a sign.
  const auto bits = static_cast<std::uint64_t>(value);
  const unsigned width = widthFor(bits);
  appendMarker(out, Marker::integer, static_cast<unsigned>(std::countr_zero(width)));
  appendNumber(out, bits, width);
}

void appendReal(std::string& out, double value) {
  appendMarker(out, Marker::real, 3);
  appendNumber(out, std::bit_cast<std::uint64_t>(value), 8);
}

void appendDate(std::string& out, double seconds) {
  appendMarker(out, Marker::date, 3);
  appendNumber(out, std::bit_cast<std::uint64_t>(seconds - kReferenceDate), 8);
}

void appendData(std::string& out, std::string_view bytes) {
  appendHeader(out, Marker::data, bytes.size());
  out += bytes;
}

void appendString(std::string& out, std::string_view utf8) {
  if (isASCII(utf8)) {
    appendHeader(out, Marker::asciiString, utf8.size());
    out += utf8;
    return;
  }
  std::string units;
  units.reserve(utf8.size() * 2);
  appendUTF16(units, utf8);
  appendHeader(out, Marker::utf16String, units.size() / 2);
  out += units;
}

void appendUID(std::string& out, std::uint64_t value, unsigned width) {
  appendMarker(out, Marker::uid, width - 1);
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
