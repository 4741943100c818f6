// Property lists by hand and by another library.
#pragma once

#include <plist/plist.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/archive/plist_encoding.h"

namespace quillfold::testing {

struct PlistFree {
  void operator()(void* node) const { plist_free(node); }
};
using Plist = std::unique_ptr<void, PlistFree>;

inline Plist parsedByLibplist(std::string_view bytes) {
  plist_t node = nullptr;
  plist_from_bin(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &node);
  return Plist(node);
}

inline std::string writtenByLibplist(plist_t node) {
  char* bytes = nullptr;
  std::uint32_t length = 0;
  plist_to_bin(node, &bytes, &length);
  std::string out(bytes, length);
  plist_to_bin_free(bytes);
  return out;
}

inline std::string stringOf(plist_t node) {
  std::uint64_t length = 0;
  const char* text = plist_get_string_ptr(node, &length);
  return text == nullptr ? "(no string)" : std::string(text, length);
}

inline plist_t dictionaryOf(std::initializer_list<std::pair<const char*, plist_t>> entries) {
  plist_t dictionary = plist_new_dict();
  for (const auto& [key, value] : entries)
    plist_dict_set_item(dictionary, key, value);
  return dictionary;
}

inline plist_t arrayOf(const std::vector<plist_t>& elements) {
  plist_t array = plist_new_array();
  for (plist_t element : elements)
    plist_array_append_item(array, element);
  return array;
}

// A file of objects given as raw bytes, the first one the root.
inline std::string fileOf(const std::vector<std::string>& objects, unsigned offsetWidth = 4,
                          unsigned referenceWidth = 1) {
  std::string out(plist::kMagic);
  std::vector<std::size_t> offsets;
  for (const auto& object : objects) {
    offsets.push_back(out.size());
    out += object;
  }
  const plist::Trailer trailer{offsetWidth, referenceWidth, objects.size(), 0, out.size()};
  for (const auto offset : offsets)
    plist::appendNumber(out, offset, offsetWidth);
  plist::appendTrailer(out, trailer);
  return out;
}

}  // namespace quillfold::testing
