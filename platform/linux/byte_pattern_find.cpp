// The kernel of searching: a sweep for two bytes at a fixed distance, many places
// at once, and a comparison of the whole where both stand. Compiled once for each
// instruction set that Highway knows on this architecture; the machine's best is
// taken at run time. Without Highway, and where less than a vector is left, the
// same goes place by place.
#include <cstring>

#include "platform/byte_pattern.h"

#ifdef QUILLFOLD_HIGHWAY
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/linux/byte_pattern_find.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
#endif

#ifndef QUILLFOLD_BYTE_PATTERN_FIND
#define QUILLFOLD_BYTE_PATTERN_FIND
namespace quillfold {

struct Needle {
  std::string_view bytes;
  std::size_t first;
  std::size_t second;
};

inline bool standsAt(const char* place, const Needle& needle) {
  return std::memcmp(place, needle.bytes.data(), needle.bytes.size()) == 0;
}

// Places from `place` up to but not including `end`, where the needle still fits
// at each.
inline const char* findByPlace(const char* place, const char* end, const Needle& needle) {
  const char first = needle.bytes[needle.first];
  const char second = needle.bytes[needle.second];
  for (; place < end; ++place) {
    if (place[needle.first] == first && place[needle.second] == second && standsAt(place, needle)) {
      return place;
    }
  }
  return nullptr;
}

}  // namespace quillfold
#endif

#ifdef QUILLFOLD_HIGHWAY
HWY_BEFORE_NAMESPACE();
namespace quillfold::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

const char* findByVector(const char* place, const char* end, const Needle& needle) {
  const hn::CappedTag<std::uint8_t, 64> tag;
  const auto lanes = static_cast<std::ptrdiff_t>(hn::Lanes(tag));
  if (end - place < lanes) return findByPlace(place, end, needle);
  const auto first = hn::Set(tag, static_cast<std::uint8_t>(needle.bytes[needle.first]));
  const auto second = hn::Set(tag, static_cast<std::uint8_t>(needle.bytes[needle.second]));
  const char* const last = end - lanes;
  for (;;) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(place);
    const auto both = hn::And(hn::Eq(hn::LoadU(tag, bytes + needle.first), first),
                              hn::Eq(hn::LoadU(tag, bytes + needle.second), second));
    if (!hn::AllFalse(tag, both)) {
      std::uint64_t places = 0;
      hn::StoreMaskBits(tag, both, reinterpret_cast<std::uint8_t*>(&places));
      for (; places != 0; places &= places - 1) {
        const char* const found = place + __builtin_ctzll(places);
        if (standsAt(found, needle)) return found;
      }
    }
    if (place == last) return nullptr;
    // The last step goes over some places a second time.
    place = last - place < lanes ? last : place + lanes;
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

std::size_t BytePattern::find(std::string_view text, std::size_t from) const {
  if (text.size() < bytes_.size() || from > text.size() - bytes_.size()) {
    return std::string_view::npos;
  }
  const Needle needle{bytes_, rarest_, secondRarest_};
  const char* const end = text.data() + (text.size() - bytes_.size()) + 1;
#ifdef QUILLFOLD_HIGHWAY
  const char* const found = HWY_DYNAMIC_DISPATCH(findByVector)(text.data() + from, end, needle);
#else
  const char* const found = findByPlace(text.data() + from, end, needle);
#endif
  return found == nullptr ? std::string_view::npos : static_cast<std::size_t>(found - text.data());
}

}  // namespace quillfold
#endif
