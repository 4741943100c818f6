// Keyed archives through another library. Needs libplist at the link.
#pragma once

#include <utility>

#include "foundation/value.h"
#include "tests/foundation/archive/plist_files.h"

namespace quillfold::testing {

// An archived object with its references followed: "$null" as null, a class entry
// as its name.
inline Value unarchived(plist_t objects, plist_t node) {
  std::uint64_t number = 0;
  std::uint8_t truth = 0;
  double real = 0;
  switch (plist_get_node_type(node)) {
    case PLIST_UID:
      plist_get_uid_val(node, &number);
      if (number == 0) return nullptr;
      return unarchived(objects, plist_array_get_item(objects, static_cast<std::uint32_t>(number)));
    case PLIST_BOOLEAN:
      plist_get_bool_val(node, &truth);
      return truth != 0;
    case PLIST_UINT:
      plist_get_uint_val(node, &number);
      return static_cast<std::int64_t>(number);
    case PLIST_DATA: {
      std::uint64_t length = 0;
      const char* bytes = plist_get_data_ptr(node, &length);
      return Data(std::string(bytes, length));
    }
    case PLIST_REAL:
      plist_get_real_val(node, &real);
      return real;
    case PLIST_STRING:
      return plist_get_string_ptr(node, nullptr);
    case PLIST_ARRAY: {
      Array out;
      for (std::uint32_t i = 0; i < plist_array_get_size(node); ++i)
        out.push_back(unarchived(objects, plist_array_get_item(node, i)));
      return out;
    }
    default:
      break;
  }
  if (plist_t name = plist_dict_get_item(node, "$classname")) return unarchived(objects, name);
  Dictionary out;
  plist_dict_iter iterator = nullptr;
  plist_dict_new_iter(node, &iterator);
  for (char* key = nullptr;; free(std::exchange(key, nullptr))) {
    plist_t item = nullptr;
    plist_dict_next_item(node, iterator, &key, &item);
    if (item == nullptr) break;
    out[key] = unarchived(objects, item);
  }
  free(iterator);
  return out;
}

// The root of an archive, which is a dictionary; null for bytes that are none.
inline Value unarchivedRoot(std::string_view bytes) {
  const Plist archive = parsedByLibplist(bytes);
  if (!archive) return nullptr;
  const Value top = unarchived(plist_dict_get_item(archive.get(), "$objects"),
                               plist_dict_get_item(archive.get(), "$top"));
  return *find(*top.asDictionary(), "root");
}

inline constexpr auto uidOf = plist_new_uid;
inline constexpr auto textOf = plist_new_string;
inline plist_t classOf(const char* name) {
  return dictionaryOf(
      {{"$classname", textOf(name)}, {"$classes", arrayOf({textOf(name), textOf("NSObject")})}});
}

// An archive of the objects that come after "$null", which it takes over.
inline std::string archiveOf(std::vector<plist_t> objects, std::uint64_t root) {
  objects.insert(objects.begin(), textOf("$null"));
  const Plist archive(dictionaryOf({{"$version", plist_new_uint(100000)},
                                    {"$archiver", textOf("NSKeyedArchiver")},
                                    {"$top", dictionaryOf({{"root", uidOf(root)}})},
                                    {"$objects", arrayOf(objects)}}));
  return writtenByLibplist(archive.get());
}

}  // namespace quillfold::testing
