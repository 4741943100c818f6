#include "contacts/batches.h"

#include <algorithm>

#include "foundation/error.h"

namespace quillfold {

std::optional<Batch> nextBatch(std::int64_t count, std::int64_t size, std::int64_t index,
                               Comparison comparison) {
  const std::int64_t start = product(size, index);
  const bool negative = start < 0;
  if (start >= count || (negative && comparison == Comparison::Unsigned)) return std::nullopt;
  return Batch{start, negative ? -1 : std::min(size, count - start)};
}

QFContactList slice(const QFContactList& contacts, Batch batch) {
  const auto count = static_cast<std::int64_t>(contacts.size());
  const auto [start, length] = batch;
  if (start < 0 || start > count || length < 0 || length > count - start) {
    throw NSException(NSRangeException, "The range lies outside the contacts.");
  }
  return {contacts.begin() + start, contacts.begin() + start + length};
}

}  // namespace quillfold
