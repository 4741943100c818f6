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
  using Names = std::vector<std::string>;
};

TEST_F(Bookkeeping, TellsByTheHashAloneWhatHasChanged) {
  const auto ann = contact("a", "Ann");
  EXPECT_TRUE(service->hasContactChanged(*ann));
  EXPECT_TRUE(
      platform.log->contains(fmt::format("No sync info cache file exists yet at {}", kPath)));
  EXPECT_EQ(activeNames(), Names{""});
  const auto record = service->saveSyncInfoForContact(*ann);
  EXPECT_EQ(record->lastSyncedAt(), platform.clock->seconds);
  EXPECT_FALSE(record->needsSync() || service->hasContactChanged(*ann));
  platform.clock->seconds += 5;
  service->markContactAsDeleted("a");
  EXPECT_TRUE(record->isDeleted() && record->needsSync() && activeNames().empty());
  EXPECT_EQ(record->lastSyncedAt(), platform.clock->seconds);
  EXPECT_FALSE(service->hasContactChanged(*ann));
  record->setSyncError("old");
  ann->setMatchString("Anna");
  EXPECT_TRUE(service->hasContactChanged(*ann));
  service->saveSyncInfoForContact(*ann);
  EXPECT_FALSE(record->isDeleted() || record->isDirty());
  EXPECT_EQ(record->syncError(), "old");
  for (const char* name : {"Zoe", "ann", "f", "é", "e"}) {
    service->saveSyncInfoForContact(*contact(name, name));
  }
  service->syncInfoForContactId("x")->setDisplayNameForSort({});
  EXPECT_EQ(activeNames(), Names({"(absent)", "Ann", "Zoe", "ann", "e", "é", "f"}));
  // The record's own marks.
  record->markForSync();
  EXPECT_TRUE(record->isDirty() && !record->syncError());
  record->setSyncInProgress(true);
  record->recordSyncError(NSError::errorWithDomain("D", 3, {{NSLocalizedDescriptionKey, "why"}}));
  EXPECT_TRUE(record->isDirty() && !record->syncInProgress() && record->syncError() == "why");
  record->markSynced(0.0);
  EXPECT_TRUE(!record->isDirty() && !record->syncError() && record->needsSync());
  record->setIsDeleted(true);
  EXPECT_FALSE(record->needsSync());
}

TEST_F(Bookkeeping, EndsEveryFailureOfTheFileInALogLine) {
  auto& files = *platform.files;
  files.createError = NSError::errorWithDomain("D", 1, {{NSLocalizedDescriptionKey, "full"}});
  files.writeError = files.removeError = files.createError;
  service->saveSyncInfoForContact(*contact("a", "Ann"));
  EXPECT_TRUE(logged("Error creating Quillfold directory: full"));
  EXPECT_TRUE(logged(fmt::format("Saved contact sync info to {}", kPath)));
  files.throwOnWrite = true;
  service->saveSyncInfoForContact(*contact("b", "Bob"));
  EXPECT_TRUE(logged("Error saving sync info cache: no room"));
  EXPECT_TRUE(files.contents.empty());
  // What no write has stored yet is in the next one, at the path of then.
  files.throwOnWrite = false;
  files.writeError = nullptr;
  service->setSyncInfoFilePath("/b");
  service->saveSyncInfoCache();
  service->setSyncInfoCache(nullptr);
  EXPECT_EQ(service->allSyncInfo().size(), 2u);
  service->clearSyncInfoCache();
  EXPECT_TRUE(logged("Error deleting sync info file: full"));
  EXPECT_EQ(service->allSyncInfo().size(), 2u);
  files.removeError = nullptr;
  service->clearSyncInfoCache();
  service->clearSyncInfoCache();
  EXPECT_EQ(platform.log->count("Successfully cleared sync info cache"), 1u);
  EXPECT_TRUE(service->allSyncInfo().empty());
}

TEST_F(Bookkeeping, IsReadOnAnyThreadWhileItIsSaved) {
  const auto save = [&](int i, const std::string& name) {
    service->saveSyncInfoForContact(*contact(std::to_string(i % 30), name));
  };
  for (int i = 0; i < 30; ++i)
    save(i, "A");
  service->setSyncInfoCache(nullptr);
  std::latch loaded(3);
  std::atomic<bool> done = false;
  const auto readAll = [&] {
    EXPECT_EQ(activeNames().size(), 30u);
    loaded.count_down();
    while (!done) {
      EXPECT_EQ(activeNames().size(), 30u);
      EXPECT_TRUE(service->syncInfoForContactId("7")->contactHash());
    }
  };
  std::thread readers[] = {std::thread(readAll), std::thread(readAll), std::thread(readAll)};
  loaded.wait();
  for (int i = 0; i < 300; ++i)
    save(i, std::string(static_cast<std::size_t>(i) % 9, 'n'));
  done = true;
  for (std::thread& reader : readers)
    reader.join();
}

}  // namespace
}  // namespace quillfold::testing
