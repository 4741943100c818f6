// What the readers and writers of property lists and keyed archives agree on:
// bytes, limits and errors.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "foundation/error.h"

namespace quillfold::plist {

inline constexpr std::string_view kMagic = "bplist00";
// Dates count from 2001-01-01T00:00:00Z.
inline constexpr double kReferenceDate = 978307200.0;

// The first half of an object's first byte. The second half is a count, or the
// logarithm of a width.
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
inline constexpr std::uint8_t kFalse = 0x08;
inline constexpr std::uint8_t kTrue = 0x09;
// Stands for this count and every larger one, which follows as an integer object.
inline constexpr unsigned kCountFollows = 15;

constexpr char firstByte(Marker marker, unsigned low) {
  return static_cast<char>(static_cast<unsigned>(marker) | low);
}
constexpr unsigned logarithmOf(unsigned width) {
  return static_cast<unsigned>(std::countr_zero(width));
}

inline constexpr std::size_t kTrailerSize = 32;
struct Trailer {
  unsigned offsetWidth = 1;
  unsigned referenceWidth = 1;
  std::uint64_t objectCount = 0;
  std::uint64_t rootObject = 0;
  std::uint64_t offsetTable = 0;
};

// The deepest nesting that is read or written.
inline constexpr std::size_t kMaximumDepth = 512;

// The bytes of a reference, a UID or an offset in the keyed archives that are
// written: fixed, so that an object can be encoded before it is known how many
// there will be.
inline constexpr unsigned kArchiveWidth = 4;
// The largest archive whose offsets fit.
inline constexpr std::uint64_t kMaximumArchiveSize = UINT32_MAX;

// Codes in "NSCocoaErrorDomain".
enum ErrorCode : std::int64_t {
  NSPropertyListReadCorruptError = 3840,
  NSPropertyListWriteStreamError = 3851,
  NSCoderReadCorruptError = 4864,
};

inline ErrorPtr errorWithCode(ErrorCode code, std::string text) {
  return NSError::errorWithDomain("NSCocoaErrorDomain", code,
                                  {{NSLocalizedDescriptionKey, std::move(text)}});
}

}  // namespace quillfold::plist
