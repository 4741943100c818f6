// The bookkeeping on a real disk: what other readers find in its file, and what its spares are for.
#include <random>

#include "adapters/linux/device/linux_platform.h"
#include "facade/contact_service_parts.h"
#include "sync/sync_info_archive.h"
#include "tests/support/archived_records.h"
#include "tests/support/service_test.h"
#include "tests/support/temporary_folder.h"

namespace quillfold::testing {
namespace {

class BookkeepingFile : public ::testing::Test {
 protected:
  // Settles the platform of the process.
  void begin() {
    Platform platform = makeLinuxPlatform({});
    platform.log = log_;
    ASSERT_TRUE(Platform::install(platform) && !Platform::install(platform));
    service_ = QFContactService::sharedInstance();
    service_->setSyncInfoFilePath(folder_.path("file"));
  }
  void save(const std::string& id, const std::string& name) {
    const auto contact = QFContact::initWithIdentifier(id);
    contact->setDisplayName(name + " of " + id);
    service_->saveSyncInfoForContact(*contact);
  }
  Records held() { return recordsOf(service_->syncInfoCache()->entries()); }
  void forget() { service_->setSyncInfoCache(nullptr); }

  TemporaryFolder folder_;
  std::shared_ptr<RecordingLog> log_ = std::make_shared<RecordingLog>();
  std::shared_ptr<QFContactService> service_;
  std::mt19937 random_{3};
};

TEST_F(BookkeepingFile, IsReadByOthersAfterAnyChange) {
  begin();
  const auto below = [this](std::size_t bound) { return random_() % bound; };
  const auto anyId = [&] { return "id" + std::to_string(below(60)); };
  const std::function<void()> changes[] = {
      [&] { save(anyId(), std::string(below(300), 'x') + "é😀"); },
      [&] { save(anyId(), std::string(below(40), 'y')); },
      [&] { service_->syncInfoForContactId(anyId())->setSyncError(std::string(below(9), 'e')); },
      [&] {
        const auto record = service_->syncInfoForContactId(anyId());
        record->setSyncInProgress(below(2) == 0);
        record->setMatchString({});
        record->setPrimaryInfo("+1");
        record->setThumbnailUri("file:///t");
        record->setSourceId(anyId());
      },
      [&] { service_->syncInfoCache()->removeObjectForKey(anyId()); },
      [&] { service_->markContactAsDeleted(anyId()); },
      [&] { engineOf(*service_).synchronizeRecords(); },
      [&] {
        const Records before = held();
        forget();
        service_->loadSyncInfoCache();
        EXPECT_EQ(held(), before);
      }};
  for (int step = 1; step <= 1000; ++step) {
    changes[below(std::size(changes))]();
    service_->saveSyncInfoCache();
    if (step % 10 != 0) continue;
    ASSERT_EQ(readByLibplist(folder_.read("file"), "QFContactSyncInfo"), held()) << step;
  }
  std::size_t at = 0;
  for (const char* key : {"contactId", "lastSyncedAt", "contactHash", "isDeleted", "isDirty",
                          "matchString", "displayNameForSort", "primaryInfo", "thumbnailUri",
                          "sourceId", "syncInProgress", "syncError"}) {
    at = folder_.read("file").find(key, at);
    ASSERT_NE(at, std::string::npos) << key << " has another place";
  }
  service_->clearSyncInfoCache();
  EXPECT_EQ(folder_.entries(), 0u);
}

TEST_F(BookkeepingFile, IsRestoredFromItsSpare) {
  begin();
  for (int i = 0; i < 8; ++i) {
    save(std::to_string(i), "Name");
    if (i == 4) engineOf(*service_).synchronizeRecords();
  }
  std::string torn = folder_.read("file");
  torn[torn.find("Name of 2")] = 'L';
  folder_.write("file", torn);
  forget();
  EXPECT_EQ(service_->allSyncInfo().size(), 5U);
  EXPECT_TRUE(log_->contains("Restored " + folder_.path("file") + " from its spare"));
  EXPECT_TRUE(log_->contains("Loaded 5 contact sync info records"));
  save("8", "Name");
  ErrorPtr error;
  std::string names;
  const auto filed = SyncInfoArchive::load(folder_.read("file"), &error);
  for (const auto& [id, record] : filed.value())
    names += id + ' ' + record->displayNameForSort().value() + ", ";
  EXPECT_EQ(names,
            "0 Name of 0, 1 Name of 1, 2 Name of 2, 3 Name of 3, 4 Name of 4, 8 Name of 8, ");
  // A file that nothing can make good is left as it is.
  for (const char* name : {"file", ".file.spare", ".file.spare1"})
    folder_.write(name, "");
  forget();
  EXPECT_TRUE(service_->allSyncInfo().empty());
  EXPECT_EQ(folder_.read("file"), "");
}

}  // namespace
}  // namespace quillfold::testing
