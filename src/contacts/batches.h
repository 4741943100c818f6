// Cutting contacts into batches and pages.
#pragma once

#include <cstdint>
#include <optional>

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

// A range of contacts. Without a sign a start counts as huge where it is negative.
struct Batch {
  std::int64_t start = 0;
  std::int64_t length = 0;
};
enum class Comparison { Signed, Unsigned };

// The batch with that index; none if it begins behind the last contact, by the given
// comparison. Negative sizes and indexes give ranges outside the contacts.
std::optional<Batch> nextBatch(std::int64_t count, std::int64_t size, std::int64_t index,
                               Comparison comparison);

// Raises NSException for a range outside the contacts.
QFContactList slice(const QFContactList& contacts, Batch batch);

}  // namespace quillfold
