// The bytes of a binary property list, one object at a time. Everything is
// appended; numbers are big end first.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quillfold::plist {

inline constexpr std::string_view kMagic = "bplist00";
inline constexpr std::size_t kTrailerSize = 32;
// Dates count from 2001-01-01T00:00:00Z.
inline constexpr double kReferenceDate = 978307200.0;

// The first half of an object's first byte. The second half is a count, with 15
// for one that stands behind as an integer object, or a logarithm of a width.
enum class Marker : std::uint8_t {
  simple = 0x00,
  integer = 0x10,
  real = 0x20,
  date = 0x30,
  data = 0x40,
  asciiString = 0x50,
  utf16String = 0x60,
  uid = 0x80,
  array = 0xA0,
  dictionary = 0xD0,
};
inline constexpr std::uint8_t kNull = 0x00;
inline constexpr std::uint8_t kFalse = 0x08;
inline constexpr std::uint8_t kTrue = 0x09;

// Writes the low `width` bytes of a number to a place that has room for them.
void storeNumber(char* to, std::uint64_t value, unsigned width);
void appendNumber(std::string& out, std::uint64_t value, unsigned width);
// The fewest bytes out of 1, 2, 4 and 8 that hold the number.
unsigned widthFor(std::uint64_t value);

// The first byte of an object with a count, and the count.
void appendHeader(std::string& out, Marker marker, std::uint64_t count);

void appendBool(std::string& out, bool value);
void appendInteger(std::string& out, std::int64_t value);
void appendReal(std::string& out, double value);
// Seconds since 1970.
void appendDate(std::string& out, double seconds);
void appendData(std::string& out, std::string_view bytes);
// ASCII where the text allows it, else UTF-16.
void appendString(std::string& out, std::string_view utf8);
void appendUID(std::string& out, std::uint64_t value, unsigned width);

struct Trailer {
  unsigned offsetWidth = 1;
  unsigned referenceWidth = 1;
  std::uint64_t objectCount = 0;
  std::uint64_t rootObject = 0;
  std::uint64_t offsetTable = 0;
};
void appendTrailer(std::string& out, const Trailer& trailer);

}  // namespace quillfold::plist
