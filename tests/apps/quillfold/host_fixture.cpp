#include "tests/apps/quillfold/host_fixture.h"

#include <openssl/sha.h>
#include <plist/plist.h>

#include <filesystem>
#include <memory>

#include "foundation/format.h"

namespace quillfold::testing {

namespace {

using Plist = std::unique_ptr<void, void (*)(plist_t)>;

// Follows the references of a keyed archive.
class Archive {
 public:
  explicit Archive(const std::string& bytes) : file_(nullptr, plist_free) {
    plist_t root = nullptr;
    plist_from_bin(bytes.data(), static_cast<uint32_t>(bytes.size()), &root);
    file_.reset(root);
    if (root != nullptr) objects_ = plist_dict_get_item(root, "$objects");
  }

  plist_t root() const {
    return objects_ == nullptr ? nullptr
                               : follow(plist_access_path(file_.get(), 2, "$top", "root"));
  }
  plist_t follow(plist_t reference) const {
    uint64_t index = 0;
    plist_get_uid_val(reference, &index);
    return plist_array_get_item(objects_, static_cast<uint32_t>(index));
  }
  std::string text(plist_t record, const char* key) const {
    char* value = nullptr;
    plist_get_string_val(follow(plist_dict_get_item(record, key)), &value);
    const std::string out = value == nullptr ? "$null" : value;
    free(value);
    return out == "$null" ? "" : out;
  }

 private:
  Plist file_;
  plist_t objects_ = nullptr;
};

}  // namespace

void HostTest::SetUp() {
  backend.start();
  std::filesystem::create_directories(folder.path("book"));
}

std::vector<std::string> HostTest::arguments(std::vector<std::string> words) const {
  std::vector<std::string> all{"--home",    folder.path("home"),
                               "--book",    folder.path("book"),
                               "--connect", "127.0.0.1:" + std::to_string(backend.port())};
  all.insert(all.end(), words.begin(), words.end());
  return all;
}

HostTest::Outcome HostTest::run(std::vector<std::string> words) const {
  words.insert(words.begin(), "--json");
  ChildProgram program(QUILLFOLD_HOST_PROGRAM, arguments(std::move(words)));
  const std::string text = program.rest();
  return {program.exitStatus(), nlohmann::json::parse(text, nullptr, false)};
}

std::map<std::string, FiledRecord> HostTest::filedRecords() const {
  std::map<std::string, FiledRecord> out;
  const Archive archive(
      folder.read("home/quillfold/AppFrameworks/Quillfold/contact_sync_info.plist"));
  const plist_t records =
      archive.root() == nullptr ? nullptr : plist_dict_get_item(archive.root(), "NS.objects");
  for (uint32_t i = 0; records != nullptr && i < plist_array_get_size(records); ++i) {
    const plist_t record = archive.follow(plist_array_get_item(records, i));
    const FiledRecord filed{archive.text(record, "contactHash"),
                            archive.text(record, "matchString")};
    if (!filed.contactHash.empty()) out[archive.text(record, "contactId")] = filed;
  }
  return out;
}

std::string independentSHA256(const std::string& text) {
  unsigned char digest[SHA256_DIGEST_LENGTH];
  SHA256(reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest);
  std::string out;
  for (const unsigned char byte : digest)
    out += fmt::format("{:02x}", byte);
  return out;
}

std::string card(const std::string& uid, const std::string& name, const std::string& number) {
  return fmt::format(
      "BEGIN:VCARD\r\nVERSION:3.0\r\nUID:{}\r\nN:;{};;;\r\nFN:{}\r\nTEL:{}\r\nEND:VCARD\r\n", uid,
      name, name, number);
}

}  // namespace quillfold::testing
