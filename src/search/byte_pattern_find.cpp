// The kernel of searching: a sweep for two bytes at a fixed distance, many places
// at once, and a comparison of the whole where both stand. Compiled once for each
// instruction set that Highway knows on this architecture; the machine's best is
// taken at run time. Without Highway, and in texts shorter than a vector, the same
// goes place by place.
#include "search/byte_pattern.h"

#include <algorithm>

#ifdef QUILLFOLD_HIGHWAY
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "search/byte_pattern_find.cpp"
#include <hwy/cache_control.h>
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
#endif

#ifndef QUILLFOLD_BYTE_PATTERN_FIND
#define QUILLFOLD_BYTE_PATTERN_FIND
namespace quillfold {

// A search under way.
struct RunSearch {
  std::string_view text;
  std::string_view pattern;
  std::size_t firstByte;
  std::size_t secondByte;
  std::span<const std::uint32_t> ends;
  std::size_t run;
  std::span<BytePattern::Found> found;
  std::size_t count = 0;
  // The places where the pattern still fits end here.
  std::size_t end = text.size() - pattern.size() + 1;

  bool isFull() const { return count == found.size(); }
  // Most places differ in their first bytes: not worth a call of memcmp.
  bool standsAt(std::size_t place) const {
    std::size_t i = 0;
    while (i < pattern.size() && text[place + i] == pattern[i])
      ++i;
    return i == pattern.size();
  }
  // Returns where to go on: behind the run.
  std::size_t add(std::size_t place) {
    while (ends[run] < place)
      ++run;
    found[count++] = {static_cast<std::uint32_t>(run), static_cast<std::uint32_t>(place)};
    return ends[run++] + std::size_t{1};
  }
};

inline void findByPlace(RunSearch& search, std::size_t place) {
  while (place < search.end && !search.isFull()) {
    const bool mayStand =
        search.text[place + search.firstByte] == search.pattern[search.firstByte] &&
        search.text[place + search.secondByte] == search.pattern[search.secondByte];
    place = mayStand && search.standsAt(place) ? search.add(place) : place + 1;
  }
}

}  // namespace quillfold
#endif

#ifdef QUILLFOLD_HIGHWAY
HWY_BEFORE_NAMESPACE();
namespace quillfold::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

constexpr std::size_t kPrefetch = 2048;

void findByVector(RunSearch& search, std::size_t place) {
  const hn::CappedTag<std::uint8_t, 64> tag;
  const std::size_t lanes = hn::Lanes(tag);
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(search.text.data());
  const auto first = hn::Set(tag, static_cast<std::uint8_t>(search.pattern[search.firstByte]));
  const auto second = hn::Set(tag, static_cast<std::uint8_t>(search.pattern[search.secondByte]));
  if (search.end < lanes) return findByPlace(search, place);
  while (place < search.end && !search.isFull()) {
    // The last vectors begin in front of the place.
    const std::size_t begin = std::min(place, search.end - lanes);
    const auto both = hn::And(hn::Eq(hn::LoadU(tag, bytes + begin + search.firstByte), first),
                              hn::Eq(hn::LoadU(tag, bytes + begin + search.secondByte), second));
    std::size_t next = begin + lanes;
    // The hardware's own prefetching stops at each page.
    hwy::Prefetch(bytes + begin + kPrefetch);
    if (!hn::AllFalse(tag, both)) {
      std::uint64_t places = 0;
      hn::StoreMaskBits(tag, both, reinterpret_cast<std::uint8_t*>(&places));
      places &= ~std::uint64_t{0} << (place - begin);
      for (; places != 0; places &= places - 1) {
        const std::size_t each = begin + static_cast<std::size_t>(__builtin_ctzll(places));
        if (!search.standsAt(each)) continue;
        // What is left of the run is of no interest.
        next = search.add(each);
        break;
      }
    }
    place = next;
  }
}

}  // namespace quillfold::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

#if !defined(QUILLFOLD_HIGHWAY) || HWY_ONCE
namespace quillfold {

#ifdef QUILLFOLD_HIGHWAY
HWY_EXPORT(findByVector);
#endif

std::size_t BytePattern::findInRuns(std::string_view text, std::span<const std::uint32_t> ends,
                                    std::size_t from, std::size_t run,
                                    std::span<Found> found) const {
  if (text.size() < bytes_.size()) return 0;
  RunSearch search{text, bytes_, rarest_, secondRarest_, ends, run, found};
#ifdef QUILLFOLD_HIGHWAY
  HWY_DYNAMIC_DISPATCH(findByVector)(search, from);
#else
  findByPlace(search, from);
#endif
  return search.count;
}

}  // namespace quillfold
#endif
