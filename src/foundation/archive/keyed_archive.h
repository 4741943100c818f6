// Secure reading of keyed archives: the binary property list with an object
// graph that the platform's keyed coder writes.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/archive/secure_coding.h"
#include "foundation/error.h"
#include "foundation/export.h"
#include "foundation/value.h"

namespace quillfold {

// Names of classes that may stand in an archive. A mutable class counts as its
// immutable one.
using ClassSet = std::span<const std::string_view>;

// The keys of one archived record, valid during the call that hands it out.
// Every read names its type; a missing key gives an absent string, value or
// object, false or 0, as does an inline value that is no number. A key that holds
// an object of another class than those allowed fails the whole archive: from
// then on every read gives absent, false or 0, and KeyedUnarchiver reports that
// first failure.
class QUILLFOLD_EXPORT KeyedDecoder {
 public:
  virtual ~KeyedDecoder() = default;
  virtual std::optional<std::string> decodeStringForKey(std::string_view key) = 0;
  virtual bool decodeBoolForKey(std::string_view key) = 0;
  // A real number is truncated toward zero and saturates.
  virtual std::int64_t decodeIntegerForKey(std::string_view key) = 0;
  virtual double decodeDoubleForKey(std::string_view key) = 0;

  // A value, with all it holds, of the classes NSString, NSNumber, NSData, NSDate,
  // NSNull, NSArray and NSDictionary, as far as they are allowed; the keys of a
  // dictionary are strings in any case.
  virtual std::optional<Value> decodeValueForKey(std::string_view key, ClassSet allowed) = 0;
  // An object of one class, or an array of such objects. One that the archive
  // refers to several times is made once; one that leads to itself is a failure.
  virtual NSSecureCodingPtr decodeObjectForKey(std::string_view key,
                                               const SecureClass& allowed) = 0;
  virtual std::optional<std::vector<NSSecureCodingPtr>> decodeObjectsForKey(
      std::string_view key, const SecureClass& allowed) = 0;
};

// What an archived object is.
enum class ArchivedKind { null, string, record, dictionary };

// Reads archives that come from a disk: references out of range, cycles, counts
// and offsets that overflow, truncated files, wrong trailers and other formats
// end in an error of domain "NSCocoaErrorDomain", code 4864, as does an object of
// a class that is not allowed. `read` is called on the caller's thread before
// the call returns, also for the part of an archive that precedes a fault: keep
// what it collects only if there was no error.
class QUILLFOLD_EXPORT KeyedUnarchiver {
 public:
  using RecordReader = std::function<void(const std::string& key, KeyedDecoder& record)>;

  // An archive of a dictionary of strings to records of the class `recordClass`;
  // besides that class NSString and NSDictionary are allowed, mutable or not.
  // Calls `read` once for each key, in the order of the file; of equal keys the
  // last wins. A root of an allowed class that is no dictionary is no error:
  // `read` is not called. Absent, with the error set, if the archive can't be
  // read, or if an entry's value is no record.
  static std::optional<ArchivedKind> readRecordDictionary(std::string_view bytes,
                                                          std::string_view recordClass,
                                                          const RecordReader& read,
                                                          ErrorPtr* error = nullptr);

  // An archive whose root is one record; any other root is an error. Returns the
  // error, or none.
  static ErrorPtr readRecord(std::string_view bytes, std::string_view recordClass,
                             const std::function<void(KeyedDecoder& record)>& read);

  // An archive whose root is an object of the class T, with all that it decodes.
  // Null, with the error set, if the archive can't be read.
  template <typename T>
  static std::shared_ptr<T> unarchivedObjectOfClass(std::string_view bytes,
                                                    ErrorPtr* error = nullptr) {
    return std::static_pointer_cast<T>(unarchivedObjectOfClass(secureClass<T>(), bytes, error));
  }
  static NSSecureCodingPtr unarchivedObjectOfClass(const SecureClass& allowed,
                                                   std::string_view bytes,
                                                   ErrorPtr* error = nullptr);
};

}  // namespace quillfold
