#include "foundation/archive/keyed_archiver.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "foundation/archive/keyed_archive.h"
#include "tests/support/keyed_plist.h"

namespace quillfold {
namespace {

using namespace testing;

constexpr std::string_view kAllClasses[] = {"NSString", "NSNumber", "NSData",      "NSDate",
                                            "NSNull",   "NSArray",  "NSDictionary"};

struct File : NSSecureCoding {
  static constexpr std::string_view kClassName = "File";
  std::string_view archivedClassName() const override { return kClassName; }
  void encodeWithCoder(KeyedObjectEncoder&) const override {}
  static std::shared_ptr<File> initWithCoder(KeyedDecoder&) { return std::make_shared<File>(); }
};

struct Folder : NSSecureCoding {
  static constexpr std::string_view kClassName = "Folder";
  using Ptr = std::shared_ptr<Folder>;

  std::optional<std::string> name;
  std::int64_t count = 0;
  std::optional<Value> content;
  Ptr parent;
  std::vector<NSSecureCodingPtr> children;

  std::string_view archivedClassName() const override { return kClassName; }
  void encodeWithCoder(KeyedObjectEncoder& coder) const override {
    coder.encodeString(name, "name");
    coder.encodeInteger(count, "count");
    coder.encodeValue(content, "content");
    coder.encodeObject(parent, "parent");
    coder.encodeObjects(children, "children");
  }
  // None of a folder called "none".
  static Ptr initWithCoder(KeyedDecoder& coder) {
    auto folder = std::make_shared<Folder>();
    folder->name = coder.decodeStringForKey("name");
    folder->count = coder.decodeIntegerForKey("count");
    folder->content = coder.decodeValueForKey("content", kAllClasses);
    folder->parent =
        std::static_pointer_cast<Folder>(coder.decodeObjectForKey("parent", secureClass<Folder>()));
    folder->children = coder.decodeObjectsForKey("children", secureClass<Folder>())
                           .value_or(std::vector<NSSecureCodingPtr>());
    coder.decodeObjectForKey("file", secureClass<File>());
    return folder->name == "none" ? nullptr : folder;
  }
};

std::string archived(const Folder::Ptr& folder) {
  ErrorPtr error;
  const auto bytes = KeyedArchiver::archivedDataWithRootObject(folder, &error);
  EXPECT_EQ(bytes.has_value(), !error);
  return bytes.value_or(reported(error));
}

Folder::Ptr unarchived(std::string_view bytes, ErrorPtr* error = nullptr) {
  return KeyedUnarchiver::unarchivedObjectOfClass<Folder>(bytes, error);
}

Value nested(std::size_t depth) {
  Value value = "end";
  for (; depth > 0; --depth)
    value = Value(Array{std::move(value)});
  return value;
}

TEST(KeyedArchiver, KeepsEveryTypeAndWhatIsShared) {
  Array content = {nullptr, true, -7, INT64_MAX, 0.5, "Grüße 👋", std::string(99, 'x'), Array()};
  content.push_back(Data(std::string("\0x", 2)));
  content.push_back(NSDate::dateWithTimeIntervalSince1970(12.5));
  content.push_back(Dictionary{{"k", Dictionary{{"", nullptr}, {"é", "k"}}}});
  auto root = std::make_shared<Folder>();
  auto child = std::make_shared<Folder>();
  root->name = "root";
  root->count = -3;
  root->content = content;
  root->parent = child;
  root->children = {child, nullptr, std::make_shared<Folder>(), child};

  const std::string bytes = archived(root);
  const auto read = unarchived(bytes);
  ASSERT_TRUE(read);
  EXPECT_EQ(read->name, "root");
  EXPECT_EQ(read->count, -3);
  EXPECT_EQ(read->content, content);
  ASSERT_EQ(read->children.size(), 3u);
  EXPECT_EQ(read->children[0], read->parent);
  EXPECT_EQ(read->children[2], read->parent);
  EXPECT_TRUE(!read->parent->name && !read->parent->content);

  // Numbers stand in the record itself, everything else behind a UID.
  const Dictionary view = *unarchivedRoot(bytes).asDictionary();
  EXPECT_EQ(view.at("$class"), "Folder");
  EXPECT_EQ(view.at("count"), -3);
  const Array elements = *view.at("content").asDictionary()->at("NS.objects").asArray();
  EXPECT_EQ(elements.at(0), (Dictionary{{"$class", "NSNull"}}));
  EXPECT_EQ(elements.at(8), content[8]);
  EXPECT_EQ(elements.at(9), (Dictionary{{"$class", "NSDate"}, {"NS.time", 12.5 - 978307200.0}}));
  EXPECT_EQ(elements.at(10).asDictionary()->at("$class"), "NSDictionary");
}

TEST(KeyedArchiver, ReadsBackWhateverItWrites) {
  auto deepest = std::make_shared<Folder>();
  deepest->content = nested(KeyedArchiver::kMaximumDepth - 1);
  EXPECT_EQ(unarchived(archived(deepest))->content, deepest->content);
  deepest->content = nested(KeyedArchiver::kMaximumDepth);
  const std::string unwritten = "NSCocoaErrorDomain 3851: The object can't be archived: ";
  EXPECT_EQ(archived(deepest), unwritten + "it is nested too deeply.");
  EXPECT_EQ(archived(nullptr), unwritten + "there is none.");

  auto chain = std::make_shared<Folder>();
  for (std::size_t depth = 1; depth <= KeyedArchiver::kMaximumDepth; ++depth) {
    if (depth == KeyedArchiver::kMaximumDepth) {
      EXPECT_TRUE(unarchived(archived(chain)));
    }
    auto above = std::make_shared<Folder>();
    above->parent = std::move(chain);
    chain = std::move(above);
  }
  EXPECT_EQ(archived(chain), unwritten + "it is nested too deeply.");

  // Many references to one text or one object are not too much for the reader.
  auto many = std::make_shared<Folder>();
  many->content = Array(100000, std::string(64, 't'));
  deepest->content = Array(50, std::string(5000, 't'));
  for (const std::size_t references : {0U, 250000U}) {
    many->children.assign(references, deepest);
    const std::string bytes = archived(many);
    const auto read = unarchived(bytes);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->children.size(), references);
    EXPECT_EQ(read->content, many->content);
    EXPECT_LT(bytes.size(), 1800000u) << "Short texts and objects are archived once.";
    many->content = Value();
  }
  many->parent = many;
  EXPECT_FALSE(unarchived(archived(many))) << "A circle is written, and refused.";
  many->parent = nullptr;
}

// A folder as object 1, its class as object 2, and what the test adds from 3 on.
std::string folderArchive(std::initializer_list<std::pair<const char*, plist_t>> keys,
                          std::vector<plist_t> more = {}) {
  plist_t folder = dictionaryOf(keys);
  plist_dict_set_item(folder, "$class", uidOf(2));
  more.insert(more.begin(), {folder, classOf("Folder")});
  return archiveOf(more, 1);
}

plist_t listOf(std::uint64_t classUID, const std::vector<plist_t>& elements) {
  return dictionaryOf({{"$class", uidOf(classUID)}, {"NS.objects", arrayOf(elements)}});
}

TEST(KeyedArchiver, RefusesHostileArchives) {
  const auto list = [](const std::vector<plist_t>& elements) { return listOf(4, elements); };
  const auto pairs = [](const std::vector<plist_t>& names, const std::vector<plist_t>& values) {
    const plist_t keys = arrayOf(names), objects = arrayOf(values);
    return dictionaryOf({{"$class", uidOf(4)}, {"NS.keys", keys}, {"NS.objects", objects}});
  };
  const auto copies = [&] {
    std::vector<plist_t> elements(200);
    std::generate(elements.begin(), elements.end(), [] { return uidOf(5); });
    return list(elements);
  };
  const std::string large(400000, 'x');
  const std::string toNoEnd = "its references lead in circles or repeat too much";

  // What stands under a key, by its reference.
  struct Row {
    const char* key;
    std::string reason;
    plist_t object;
    const char* className = "NSArray";
    plist_t more = textOf("x");
  };
  const Row rows[] = {
      {"count", "an object is no number", textOf("7")},
      {"children", "an object leads to itself", list({uidOf(1)})},
      {"children", "an object of class \"NSString\" is not allowed", list({uidOf(5)})},
      {"children", "an element is no UID", list({textOf("x")})},
      {"children", "an array has an absent element", list({uidOf(6), uidOf(0)})},
      {"children", "a UID is out of range", list({uidOf(99)})},
      {"children", "an object of class \"NSSet\" is not allowed", list({}), "NSSet"},
      {"content", "an object of class \"Folder\" is not allowed", list({uidOf(1)})},
      {"content", "a container has an absent element", list({uidOf(0)})},
      {"content", "a dictionary has more keys than objects", pairs({}, {uidOf(5)}), "NSDictionary"},
      {"content", "a dictionary has an absent key", pairs({uidOf(0)}, {uidOf(5)}), "NSDictionary"},
      {"content", "it is nested too deeply", list({uidOf(3)})},
      {"content", toNoEnd, copies(), "NSArray", textOf(large.c_str())},
      {"content", toNoEnd, copies(), "NSArray", plist_new_data(large.data(), large.size())},
      {"content", "the key \"NS.time\" is missing or of a wrong type", list({}), "NSDate"},
  };
  const auto problem = [](std::string_view bytes) {
    ErrorPtr error;
    EXPECT_FALSE(unarchived(bytes, &error));
    return reported(error);
  };
  for (const auto& [key, reason, object, className, more] : rows) {
    plist_t folder = dictionaryOf({{"$class", uidOf(2)}});
    const auto bytes = folderArchive({{key, uidOf(3)}}, {object, classOf(className), more, folder});
    EXPECT_EQ(problem(bytes), kUnreadableArchive + "key \"" + key + "\": " + reason + '.');
  }
  const std::pair<const char*, std::string> others[] = {
      {"its root is absent", archiveOf({}, 0)},
      {"an object of class \"File\" is not allowed",
       archiveOf({dictionaryOf({{"$class", uidOf(2)}}), classOf("File")}, 1)},
      {"no object could be made of a record",
       folderArchive({{"name", uidOf(3)}}, {textOf("none")})},
      {"key \"parent\": an object leads to itself", folderArchive({{"parent", uidOf(1)}})},
      {"key \"parent\": a value is no object", folderArchive({{"parent", textOf("x")}})},
      {"key \"file\": an object of class \"Folder\" is not allowed",
       folderArchive({{"parent", uidOf(3)}, {"file", uidOf(3)}},
                     {dictionaryOf({{"$class", uidOf(2)}})})},
  };
  for (const auto& [reason, bytes] : others)
    EXPECT_EQ(problem(bytes), kUnreadableArchive + reason + '.');
}

}  // namespace
}  // namespace quillfold
