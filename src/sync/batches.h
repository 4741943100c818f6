// Cutting contacts into batches.
#pragma once

#include <cstdint>

#include "foundation/error.h"
#include "model/contact.h"

namespace quillfold {

// Both wrap around instead of overflowing: a server may count as it likes.
inline std::int64_t sum(std::int64_t a, std::int64_t b) {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}
inline std::int64_t product(std::int64_t a, std::int64_t b) {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) * static_cast<std::uint64_t>(b));
}

// The number of batches of that size, rounded up. An upload may have batches of
// size 0.
inline std::int64_t batchCount(std::int64_t contacts, std::int64_t batchSize) {
  if (batchSize == 0) return 0;
  return contacts / batchSize + (contacts % batchSize != 0 ? 1 : 0);
}

// Why no batch can be uploaded: without a client, or with a negative length (of the
// given batch size). Null if one can.
ErrorPtr uploadProblem(bool hasClient, std::int64_t length, std::int64_t batchSize);

// Raises NSException for a range beyond the contacts.
inline QFContactList slice(const QFContactList& contacts, std::int64_t start, std::int64_t length) {
  const auto count = static_cast<std::int64_t>(contacts.size());
  if (start < 0 || start > count || length < 0 || length > count - start) {
    throw NSException(NSRangeException, "The range of a batch lies outside the contacts.");
  }
  return {contacts.begin() + start, contacts.begin() + start + length};
}

}  // namespace quillfold
