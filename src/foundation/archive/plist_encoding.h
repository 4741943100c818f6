// The bytes of a binary property list, one object at a time. Everything is
// appended; numbers are big end first.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "foundation/archive/plist_format.h"

namespace quillfold::plist {

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
// ASCII where the text allows it, else UTF-16. Malformed UTF-8 becomes U+FFFD.
void appendString(std::string& out, std::string_view utf8);
void appendUID(std::string& out, std::uint64_t value, unsigned width);

void appendTrailer(std::string& out, const Trailer& trailer);

}  // namespace quillfold::plist
