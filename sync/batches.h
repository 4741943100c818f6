// Cutting contacts into batches.
#pragma once

#include <cstdint>

#include "model/contact.h"
#include "platform/error.h"

namespace quillfold {

// Wraps around instead of overflowing.
inline std::int64_t product(std::int64_t a, std::int64_t b) {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) * static_cast<std::uint64_t>(b));
}

// The number of batches of that size, rounded up. An upload may have batches of
// size 0.
inline std::int64_t batchCount(std::int64_t contacts, std::int64_t batchSize) {
  if (batchSize == 0) return 0;
  return contacts / batchSize + (contacts % batchSize != 0 ? 1 : 0);
}

// Raises NSException for a range beyond the contacts.
inline QFContactList slice(const QFContactList& contacts, std::int64_t start, std::int64_t length) {
  const auto count = static_cast<std::int64_t>(contacts.size());
  if (start < 0 || start > count || length < 0 || length > count - start) {
    throw NSException(NSRangeException, "The range of a batch lies outside the contacts.");
  }
  return {contacts.begin() + start, contacts.begin() + start + length};
}

}  // namespace quillfold
