// Finding a short run of bytes in a long one.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quillfold {

// How often each byte occurs in a sample of what will be searched.
struct ByteCounts {
  std::array<std::uint32_t, 256> counts{};

  void add(std::string_view bytes);
  std::uint32_t of(char byte) const { return counts[static_cast<unsigned char>(byte)]; }
};

// A run of bytes to look for. It is told by its two rarest bytes; the counts
// decide which these are, so they matter for the speed only.
class BytePattern {
 public:
  // `bytes` must not be empty.
  BytePattern(std::string bytes, const ByteCounts& counts);

  std::size_t size() const { return bytes_.size(); }
  // The first occurrence that begins at or behind `from`; npos if there is none.
  std::size_t find(std::string_view text, std::size_t from = 0) const;
  // An estimate of the occurrences, to compare patterns of the same counts by.
  double frequency() const { return frequency_; }

 private:
  std::string bytes_;
  std::size_t rarest_ = 0;
  std::size_t secondRarest_ = 0;
  double frequency_ = 0;
};

}  // namespace quillfold
