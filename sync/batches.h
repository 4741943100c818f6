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

// The number of batches of that size. A size of 0 is not guarded against by the
// callers, and must not bring the process down either.
inline std::int64_t batchCount(std::int64_t contacts, std::int64_t batchSize) {
  return batchSize == 0 ? 0 : (contacts + batchSize - 1) / batchSize;
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
