// Keyed archives: the binary property list with an object graph that the
// platform's keyed coder writes, and its secure reading.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/error.h"
#include "platform/value.h"

namespace quillfold {

// The keys of one archived record. Every read names its type; a missing key
// gives an absent string, false or 0, as does an inline value that is no number.
// A key that holds an object of another class than the one read fails the whole
// archive: the first such failure is kept and reported by KeyedUnarchiver.
class KeyedDecoder {
 public:
  virtual ~KeyedDecoder() = default;
  virtual std::optional<std::string> decodeStringForKey(std::string_view key) = 0;
  virtual bool decodeBoolForKey(std::string_view key) = 0;
  virtual std::int64_t decodeIntegerForKey(std::string_view key) = 0;
  virtual double decodeDoubleForKey(std::string_view key) = 0;
};

// Reads archives that come from a disk: references out of range, cycles, counts
// and offsets that overflow, unbounded depth, truncated files, wrong trailers and
// other formats end in an error of domain "NSCocoaErrorDomain", code 4864.
class KeyedUnarchiver {
 public:
  using RecordReader =
      std::function<void(const std::string& key, KeyedDecoder& record)>;

  // An archive whose root is a dictionary of strings to records of one class.
  // Calls `read` for each entry. Any other root, and any object of a class but
  // that one, NSString and the two dictionary classes, is an error.
  static ErrorPtr readRecordDictionary(std::string_view bytes, std::string_view recordClass,
                                       const RecordReader& read);
  // An archive whose root is one record.
  static ErrorPtr readRecord(std::string_view bytes, std::string_view recordClass,
                             const std::function<void(KeyedDecoder& record)>& read);
};

}  // namespace quillfold
