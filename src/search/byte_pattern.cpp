#include "search/byte_pattern.h"

namespace quillfold {

void ByteCounts::add(std::string_view bytes) {
  for (const char byte : bytes)
    ++counts[static_cast<unsigned char>(byte)];
}

BytePattern::BytePattern(std::string bytes, const ByteCounts& counts) : bytes_(std::move(bytes)) {
  const auto count = [&](std::size_t i) { return counts.of(bytes_[i]); };
  for (std::size_t i = 1; i < bytes_.size(); ++i) {
    if (count(i) < count(rarest_)) rarest_ = i;
  }
  secondRarest_ = rarest_ == 0 ? bytes_.size() - 1 : 0;
  for (std::size_t i = 0; i < bytes_.size(); ++i) {
    if (i != rarest_ && count(i) < count(secondRarest_)) secondRarest_ = i;
  }
  frequency_ = count(rarest_);
  // A byte alone is no pair: it occurs as often as it is counted.
  if (bytes_.size() > 1) {
    double total = 0;
    for (const std::uint32_t each : counts.counts)
      total += each;
    frequency_ *= total > 0 ? count(secondRarest_) / total : 0;
  }
}

}  // namespace quillfold
