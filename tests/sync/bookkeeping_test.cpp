// The bookkeeping in memory, and how its file is kept.
#include <atomic>
#include <latch>
#include <thread>

#include "sync/contact_sync_info.h"
#include "sync/sync_info_dictionary.h"
#include "tests/support/service_test.h"

namespace quillfold::testing {
namespace {

constexpr const char* kPath = "/support/AppFrameworks/Quillfold/contact_sync_info.plist";

class Bookkeeping : public ServiceTest {
 protected:
  QFContactPtr contact(const std::string& id, const std::string& name) {
    const auto out = QFContact::initWithIdentifier(id);
    out->setDisplayName(name);
    out->setMatchString(name);
    return out;
  }
  std::vector<std::string> activeNames() {
    std::vector<std::string> out;
    for (const auto& record : service->activeSyncInfo()) {
      out.push_back(record->displayNameForSort().value_or("(absent)"));
    }
    return out;
  }
};

TEST_F(Bookkeeping, TellsByTheHashAloneWhatHasChanged) {
  const auto ann = contact("a", "Ann");
  EXPECT_TRUE(service->hasContactChanged(*ann));
  EXPECT_EQ(platform.log->count(fmt::format("No sync info cache file exists yet at {}", kPath)),
            1u);
  EXPECT_EQ(activeNames(), std::vector<std::string>{""});
  EXPECT_EQ(platform.files->writes, 0);
  const auto record = service->saveSyncInfoForContact(*ann);
  EXPECT_EQ(record, service->syncInfoForContactId("a"));
  EXPECT_EQ(record->lastSyncedAt(), platform.clock->seconds);
  EXPECT_FALSE(record->isDirty() || service->hasContactChanged(*ann));
  record->markForSync();
  EXPECT_TRUE(record->needsSync());
  platform.clock->seconds += 5;
  service->markContactAsDeleted("a");
  EXPECT_TRUE(record->isDeleted() && record->isDirty());
  EXPECT_EQ(record->lastSyncedAt(), platform.clock->seconds);
  EXPECT_FALSE(service->hasContactChanged(*ann));
  EXPECT_EQ(service->allSyncInfo().size(), 1u);
  EXPECT_TRUE(activeNames().empty());
  record->setSyncError("old");
  ann->setMatchString("Anna");
  EXPECT_TRUE(service->hasContactChanged(*ann));
  service->saveSyncInfoForContact(*ann);
  EXPECT_FALSE(record->isDeleted() || record->isDirty());
  EXPECT_EQ(record->syncError(), "old");
  // Ordered by the plain comparison, absent names first.
  for (const char* name : {"Zoe", "ann", "f", "é", "e"}) {
    service->saveSyncInfoForContact(*contact(name, name));
  }
  service->syncInfoForContactId("x")->setDisplayNameForSort({});
  const std::vector<std::string> sorted = {"(absent)", "Ann", "Zoe", "ann", "e", "é", "f"};
  EXPECT_EQ(activeNames(), sorted);
}

TEST_F(Bookkeeping, MarksRecords) {
  const auto record = QFContactSyncInfo::init();
  EXPECT_EQ(record->contactId()->size(), 36u);
  EXPECT_TRUE(record->needsSync() && record->isDirty() && record->matchString() == "");
  record->setIsDirty(false);
  EXPECT_TRUE(record->needsSync());
  record->setIsDeleted(true);
  EXPECT_FALSE(record->needsSync());
  record->setSyncInProgress(true);
  record->setIsDirty(true);
  record->recordSyncError(NSError::errorWithDomain("D", 3, {{NSLocalizedDescriptionKey, "why"}}));
  EXPECT_TRUE(record->isDirty() && !record->syncInProgress() && record->syncError() == "why");
  record->markSynced(12.5);
  EXPECT_TRUE(!record->isDirty() && !record->syncError() && record->lastSyncedAt() == 12.5);
  record->markSynced({});
  EXPECT_EQ(record->lastSyncedAt(), platform.clock->seconds);
}

TEST_F(Bookkeeping, EndsEveryFailureOfTheFileInALogLine) {
  auto& files = *platform.files;
  files.createError = NSError::errorWithDomain("D", 1, {{NSLocalizedDescriptionKey, "full"}});
  files.writeError = files.removeError = files.createError;
  service->saveSyncInfoForContact(*contact("a", "Ann"));
  EXPECT_TRUE(platform.log->contains("Error creating Quillfold directory: full"));
  EXPECT_TRUE(platform.log->contains(fmt::format("Saved contact sync info to {}", kPath)));
  files.throwOnWrite = true;
  service->saveSyncInfoForContact(*contact("b", "Bob"));
  EXPECT_TRUE(platform.log->contains("Error saving sync info cache: no room"));
  EXPECT_TRUE(files.contents.empty());
  // What no write has stored yet is in the next one, at the path of then.
  files.throwOnWrite = false;
  files.writeError = nullptr;
  service->setSyncInfoFilePath("/b");
  service->saveSyncInfoCache();
  service->setSyncInfoCache(nullptr);
  EXPECT_EQ(service->allSyncInfo().size(), 2u);
  service->clearSyncInfoCache();
  EXPECT_TRUE(platform.log->contains("Error deleting sync info file: full"));
  EXPECT_EQ(service->allSyncInfo().size(), 2u);
  files.removeError = nullptr;
  service->clearSyncInfoCache();
  service->clearSyncInfoCache();
  EXPECT_EQ(platform.log->count("Successfully cleared sync info cache"), 1u);
  EXPECT_TRUE(service->allSyncInfo().empty());
}

TEST_F(Bookkeeping, IsReadOnAnyThreadWhileItIsSaved) {
  service->setSyncInfoFilePath("/info");
  for (int i = 0; i < 30; ++i)
    service->saveSyncInfoForContact(*contact(fmt::format("{:02}", i), "A"));
  service->setSyncInfoCache(nullptr);
  std::latch loaded(3);
  std::atomic<bool> done = false;
  std::vector<std::thread> readers;
  for (int i = 0; i < 3; ++i) {
    readers.emplace_back([&] {
      EXPECT_EQ(service->activeSyncInfo().size(), 30u);
      loaded.count_down();
      while (!done) {
        EXPECT_EQ(activeNames().size(), 30u);
        EXPECT_TRUE(service->syncInfoForContactId("07")->contactHash());
      }
    });
  }
  loaded.wait();
  for (int i = 0; i < 300; ++i) {
    service->saveSyncInfoForContact(
        *contact(fmt::format("{:02}", i % 30), std::string(i % 9, 'n')));
  }
  done = true;
  for (std::thread& reader : readers)
    reader.join();
}

}  // namespace
}  // namespace quillfold::testing
