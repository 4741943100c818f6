// Finding a short run of bytes in a long one.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
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

  // An occurrence, and the run of the text that it lies in.
  struct Found {
    std::uint32_t run;
    std::uint32_t position;
  };

  std::size_t size() const { return bytes_.size(); }
  // Looks through a text of several runs, told by the positions behind the last
  // byte of each. One byte, no part of a pattern, stands between two runs. Finds
  // the first occurrence in each, but none that begins in front of `from`, a
  // position in the run numbered `run`. Returns how many there are, at most as
  // many as `found` has places for.
  std::size_t findInRuns(std::string_view text, std::span<const std::uint32_t> ends,
                         std::size_t from, std::size_t run, std::span<Found> found) const;
  // An estimate of the occurrences, to compare patterns of the same counts by.
  double frequency() const { return frequency_; }

 private:
  std::string bytes_;
  std::size_t rarest_ = 0;
  std::size_t secondRarest_ = 0;
  double frequency_ = 0;
};

}  // namespace quillfold
