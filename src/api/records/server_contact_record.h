// What the typed contacts of the backend have in common.
#pragma once

#include <memory>
#include <string_view>

#include "foundation/archive/secure_coding.h"
#include "foundation/value.h"

namespace quillfold {

// A mutable record without locks: one thread at a time. `Record` describes its
// fields once, and all forms follow from that.
template <typename Record>
class QFServerRecord : public NSSecureCoding {
 public:
  // The JSON form. What is absent is left out: there is never a null or an empty
  // string that nobody stored.
  Dictionary toDictionary() const;

  // The archived form. A string field that holds a value of another type is
  // archived with that type, and such an archive is refused when it is read.
  static bool supportsSecureCoding() { return true; }
  std::string_view archivedClassName() const override { return Record::kClassName; }
  void encodeWithCoder(KeyedObjectEncoder& coder) const override;
  static std::shared_ptr<Record> initWithCoder(KeyedDecoder& coder);

 protected:
  QFServerRecord() = default;
  static std::shared_ptr<Record> fromDictionary(const Dictionary& dictionary);
};

}  // namespace quillfold
