// Bytes as JSON, beside the tree that another library makes of them.
#include <nlohmann/json.hpp>

#include "foundation/json.h"
#include "foundation/text.h"
#include "fuzz/subject.h"

namespace quillfold::fuzz::json {
namespace {

using Tree = nlohmann::json;

std::size_t depthOf(const Tree& tree) {
  std::size_t deepest = 0;
  if (!tree.is_structured()) return 0;
  for (const Tree& child : tree)
    deepest = std::max(deepest, depthOf(child));
  return deepest + 1;
}

// Numbers by their value alone: a whole one is written without a point.
bool same(const Value& value, const Tree& tree) {
  if (const auto* array = value.asArray()) {
    return tree.is_array() && std::equal(array->begin(), array->end(), tree.begin(), tree.end(),
                                         [](const auto& a, const auto& b) { return same(a, b); });
  }
  if (const auto* dictionary = value.asDictionary()) {
    // Both are in the order of the keys.
    return tree.is_object() && dictionary->size() == tree.size() &&
           std::all_of(dictionary->begin(), dictionary->end(), [&](const auto& entry) {
             const auto it = tree.find(entry.first);
             return it != tree.end() && same(entry.second, *it);
           });
  }
  if (const auto* text = value.asString()) return tree.is_string() && tree == *text;
  if (const auto* truth = value.asBool()) return tree.is_boolean() && tree == *truth;
  if (!value.isNumber()) return value.isNull() && tree.is_null();
  if (value.isInteger()) return tree.is_number() && tree == value.integerValue();
  return tree.is_number() && tree.get<double>() == value.doubleValue();
}

void run(std::string_view bytes) {
  ErrorPtr error;
  const auto value = NSJSONSerialization::JSONObjectWithData(bytes, &error);
  require(value.has_value() == !error);
  const Tree tree = Tree::parse(bytes, nullptr, false);
  require(value.has_value() ==
          (tree.is_structured() && depthOf(tree) <= NSJSONSerialization::kMaximumDepth));
  if (!value) return;
  require(same(*value, tree));
  require(text::isValidUTF8(value->description()));

  const auto written = NSJSONSerialization::dataWithJSONObject(*value);
  require(written && same(*value, Tree::parse(*written, nullptr, false)));
  const auto again = NSJSONSerialization::JSONObjectWithData(*written);
  require(again && same(*again, tree));
}

const Subject subject("json", run);

}  // namespace
}  // namespace quillfold::fuzz::json
