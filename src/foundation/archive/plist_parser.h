// Checked access to the objects of a binary property list that nobody vouches
// for.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "foundation/archive/plist_format.h"

namespace quillfold::plist {

// The bytes are no binary property list, or one that asks for too much. Stays
// inside this folder: the readers turn it into an error object.
class Malformed : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

enum class Kind { boolean, integer, real, date, data, string, uid, array, dictionary };

// One object, pointing into the bytes it was read from.
struct Object {
  Kind kind = Kind::boolean;
  // string: UTF-16 and not ASCII.
  bool wide = false;
  // boolean: 0 or 1; integer. An integer beyond 64 bits comes as a real.
  std::int64_t integer = 0;
  // real; date: seconds since 1970.
  double real = 0;
  // uid; larger ones than 64 bits read as the largest.
  std::uint64_t uid = 0;
  // array, dictionary: how many elements or entries.
  std::uint64_t count = 0;
  // data and string: the content. array: the references of the elements;
  // dictionary: the references of the keys, and behind them of the values.
  std::string_view bytes = {};
};

// Reads object by object; the caller walks the references. What the walk may
// cost is bounded in proportion to the size of the file, so that references
// which lead in circles or spread one object over thousands end in a failure.
// The bytes must outlive the parser. Every operation may throw Malformed.
class Parser {
 public:
  explicit Parser(std::string_view bytes);

  std::uint64_t objectCount() const { return trailer_.objectCount; }
  std::uint64_t rootObject() const { return trailer_.rootObject; }

  Object objectAt(std::uint64_t number);
  // The number behind the reference `index` of an array or a dictionary.
  std::uint64_t reference(const Object& container, std::uint64_t index) const;
  Object element(const Object& container, std::uint64_t index) {
    return objectAt(reference(container, index));
  }

  // The text of a string in UTF-8. Bytes of an ASCII string that are none are
  // read as UTF-8, malformed ones as U+FFFD.
  std::string text(const Object& string);
  bool isText(const Object& object, std::string_view expected);

  // Takes part of the allowance for the walk.
  void spend(std::uint64_t amount);

 private:
  void readTrailer();
  std::uint64_t numberAt(std::uint64_t offset, unsigned width) const;
  std::string_view take(std::uint64_t& offset, std::uint64_t size) const;
  unsigned takeWidth(unsigned low, unsigned largest) const;
  Object integerAt(std::uint64_t offset, unsigned low) const;
  Object realAt(std::uint64_t offset, unsigned low) const;
  Object uidAt(std::uint64_t offset, unsigned low) const;
  Object countedAt(std::uint64_t offset, Marker marker, unsigned low) const;

  std::string_view bytes_;
  Trailer trailer_;
  std::uint64_t allowance_;
};

}  // namespace quillfold::plist
