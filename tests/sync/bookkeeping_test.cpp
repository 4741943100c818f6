// What the library remembers of uploads: the records, their file, the next process.
#include <latch>
#include <random>
#include <thread>

#include "facade/contact_service_parts.h"
#include "foundation/archive/keyed_archiver.h"
#include "sync/sync_info_archive.h"
#include "tests/support/archived_records.h"
#include "tests/support/service_test.h"

namespace quillfold::testing {
namespace {

constexpr const char* kPath = "/support/AppFrameworks/Quillfold/contact_sync_info.plist";

class Bookkeeping : public ServiceTest {
 protected:
  std::string& file() { return platform.files->contents[kPath]; }
  Records held() { return recordsOf(service->syncInfoCache()->entries()); }
  QFContactSyncInfoPtr save(const std::string& id, const std::string& name) {
    return service->saveSyncInfoForContact(*contact(id, name));
  }
  std::string activeNames() {
    std::string out;
    for (const auto& record : service->activeSyncInfo())
      out += record->displayNameForSort().value_or("(absent)") + ' ';
    return out;
  }
};

TEST_F(Bookkeeping, TellsByTheHashAloneWhatHasChanged) {
  const auto ann = contact("a", "Ann");
  // Without a hash to compare with, nothing is hashed: here nothing could be.
  ann->setMatchString({});
  EXPECT_TRUE(service->hasContactChanged(*ann));
  ann->setMatchString("Ann");
  EXPECT_TRUE(logged(std::string("No sync info cache file exists yet at ") + kPath));
  EXPECT_EQ(activeNames(), " ");
  ann->setGivenName("Ann");
  ann->setEmailAddresses({QFContactEmailAddress::initWithContactId("a", "a@b.c", "home")});
  const auto record = service->saveSyncInfoForContact(*ann);
  EXPECT_EQ(*record->primaryInfo() + *record->matchString(),
            ann->displayInfo() + ann->generateMatchString());
  const double synced = record->lastSyncedAt();
  EXPECT_EQ(synced, platform.clock->seconds);
  EXPECT_FALSE(record->needsSync() || service->hasContactChanged(*ann));
  platform.clock->seconds += 5;
  service->markContactAsDeleted("a");
  EXPECT_TRUE(record->isDeleted() && record->needsSync() && activeNames().empty());
  EXPECT_TRUE(record->lastSyncedAt() > synced && !service->hasContactChanged(*ann));
  record->setSyncError("old");
  ann->setMatchString("Anna");
  ann->setDisplayName({});
  EXPECT_TRUE(service->hasContactChanged(*ann));
  service->saveSyncInfoForContact(*ann);
  EXPECT_FALSE(record->isDeleted() || record->isDirty());
  EXPECT_EQ(record->syncError(), "old");
  for (const char* name : {"Zoe", "ann", "f", "é", "e"})
    save(name, name);
  service->syncInfoForContactId("x")->setDisplayNameForSort({});
  EXPECT_EQ(activeNames(), "(absent)  Zoe ann e é f ");
}

TEST_F(Bookkeeping, MarksARecordByWhatHappensToIt) {
  const auto record = QFContactSyncInfo::initWithContactId("a");
  const auto error = NSError::errorWithDomain("D", 3, {{NSLocalizedDescriptionKey, "why"}});
  const std::pair<std::function<void()>, const char*> steps[] = {
      {[] {}, "dirty needed busy 0 -"},
      {[&] { record->markSynced({}); }, "1700000000 -"},
      {[&] { record->recordSyncError(error); }, "1700000000 why"},
      {[&] { record->markForSync(); }, "dirty needed 1700000000 -"},
      {[&] { record->recordSyncError(error); }, "dirty needed 1700000000 why"},
      {[&] { record->markSynced(0.0); }, "needed 0 -"},
      {[&] { record->setIsDeleted(true); }, "busy 0 -"},
      {[&] { record->markForSync(); }, "dirty needed 0 -"}};
  for (const auto& [step, state] : steps) {
    record->setSyncInProgress(true);
    step();
    EXPECT_EQ(
        fmt::format("{}{}{}{} {}", record->isDirty() ? "dirty " : "",
                    record->needsSync() ? "needed " : "", record->syncInProgress() ? "busy " : "",
                    record->lastSyncedAt(), record->syncError().value_or("-")),
        state);
  }
  EXPECT_EQ(*record->displayNameForSort() + *record->matchString() + *record->primaryInfo(), "");
  record->setPrimaryInfo("+1");
  record->setSourceId("S");
  record->setThumbnailUri("T");
  EXPECT_EQ(*record->primaryInfo() + *record->sourceId() + *record->thumbnailUri(), "+1ST");
}

TEST_F(Bookkeeping, ReadsARecordThatAHostHasArchivedIntoTheDefaults) {
  const auto ann = contact("a", "Ann");
  const auto put = [this](const std::string& bytes) {
    platform.defaults->setObject(Data(bytes), "com.quillfold.syncinfo.a");
  };
  EXPECT_EQ(service->syncInfoForContact(*ann), nullptr);
  put(KeyedArchiver::archivedDataWithRootObject(save("a", "Ann")).value());
  EXPECT_EQ(recordsOf({{"a", service->syncInfoForContact(*ann)}}), held());
  put("no archive");
  EXPECT_EQ(service->syncInfoForContact(*ann), nullptr);
  EXPECT_THAT(
      platform.log->lines().back(),
      ::testing::StartsWith("error ContactService: Error unarchiving sync info: Error Domain="));
}

TEST_F(Bookkeeping, EndsEveryFailureOfTheFileInALogLine) {
  auto& files = *platform.files;
  files.createError = NSError::errorWithDomain("D", 1, {{NSLocalizedDescriptionKey, "full"}});
  files.writeError = files.removeError = files.createError;
  const std::string full = files.createError->description();
  save("a", "Ann");
  EXPECT_EQ(platform.log->count("Error creating Quillfold directory: " + full), 1u);
  EXPECT_TRUE(logged(std::string("Saved contact sync info to ") + kPath));
  files.throwOnWrite = true;
  save("b", "Bob");
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
  EXPECT_TRUE(logged("Error deleting sync info file: " + full));
  EXPECT_EQ(service->allSyncInfo().size(), 2u);
  files.removeError = nullptr;
  service->clearSyncInfoCache();
  service->clearSyncInfoCache();
  EXPECT_EQ(platform.log->count("Successfully cleared sync info cache"), 1u);
  EXPECT_TRUE(service->allSyncInfo().empty());
}

TEST_F(Bookkeeping, IsReadOnceByThreadsThatComeTogether) {
  for (int i = 0; i < 30; ++i)
    save(std::to_string(i), "A");
  for (int round = 0; round < 20; ++round) {
    service->setSyncInfoCache(nullptr);
    std::latch begin(3);
    std::vector<QFContactSyncInfoPtr> found(3);
    {
      std::vector<std::jthread> readers;
      for (QFContactSyncInfoPtr& one : found) {
        readers.emplace_back([&] {
          begin.arrive_and_wait();
          EXPECT_EQ(service->activeSyncInfo().size(), 30u);
          one = service->syncInfoForContactId("7");
        });
      }
    }
    EXPECT_THAT(found, ::testing::Each(service->syncInfoForContactId("7")));
  }
}

TEST_F(Bookkeeping, TakesAFileOfLibplistWithoutDefaultsAndLeavesAFaultyOne) {
  const auto written = [](const char* recordClass, std::uint64_t root) {
    return archiveOf({dictionaryOf({{"NS.keys", arrayOf({uidOf(4), uidOf(5)})},
                                    {"NS.objects", arrayOf({uidOf(6), uidOf(7)})},
                                    {"$class", uidOf(2)}}),
                      classOf("NSDictionary"), classOf(recordClass), textOf("a"), textOf("b"),
                      dictionaryOf({{"contactId", uidOf(4)},
                                    {"contactHash", uidOf(5)},
                                    {"lastSyncedAt", plist_new_real(2.5)},
                                    {"isDirty", plist_new_bool(1)},
                                    {"matchString", uidOf(0)},
                                    {"$class", uidOf(3)}}),
                      dictionaryOf({{"$class", uidOf(3)}})},
                     root);
  };
  const std::string good = written("QFContactSyncInfo", 1);
  // Tried again, and logged, by each read while there is no record.
  const std::string faulty = file() = written("NSDate", 1);
  EXPECT_TRUE(service->allSyncInfo().empty() && service->activeSyncInfo().empty());
  EXPECT_THAT(platform.log->lines().back(),
              ::testing::StartsWith("Error unarchiving sync info: Error Domain="));
  EXPECT_EQ(platform.log->count(platform.log->lines().back()), 2u);
  EXPECT_EQ(file(), faulty);
  platform.log->clear();
  file() = written("QFContactSyncInfo", 4);
  EXPECT_TRUE(service->allSyncInfo().empty());
  file() = good;
  platform.files->readFails = true;
  EXPECT_TRUE(service->allSyncInfo().empty());
  EXPECT_TRUE(platform.log->lines().empty());
  EXPECT_EQ(told(engineOf(*service).recordsProblem()),
            std::string("NSCocoaErrorDomain 256: ") + kPath + " can't be read");
  platform.files->readFails = false;
  EXPECT_EQ(service->allSyncInfo().size() + service->activeSyncInfo().size(), 4u);
  EXPECT_EQ(platform.log->count("Loaded 2 contact sync info records"), 1u);
  Dictionary bare = held()["b"];
  for (const auto& [key, value] : bare)
    EXPECT_TRUE(value.isNull() || !value.boolValue()) << key;
  bare["contactId"] = "a", bare["contactHash"] = "b";
  bare["lastSyncedAt"] = 2.5, bare["isDirty"] = true;
  EXPECT_EQ(held()["a"], bare);
}

// Whatever is done to records and dictionaries, the file equals the dictionary in
// use after each save, or is the old one where the write failed.
TEST_F(Bookkeeping, AlwaysEqualsTheDictionary) {
  std::mt19937 random(7);
  const auto below = [&random](std::size_t bound) { return random() % bound; };
  const auto anyId = [&] { return std::to_string(below(12)); };
  std::vector<QFContactSyncInfoPtr> known = {QFContactSyncInfo::init()};
  const auto anyRecord = [&] { return known[below(known.size())]; };
  std::shared_ptr<SyncInfoDictionary> caches[] = {service->syncInfoCache(),
                                                  SyncInfoDictionary::dictionary()};
  const std::function<void()> often[] = {
      [&] { known.push_back(service->syncInfoForContactId(anyId())); },
      [&] { save(anyId(), std::string(below(300), 'x')); },
      [&] { service->markContactAsDeleted(anyId()); },
      [&] { anyRecord()->setSyncError(std::string(below(40), 'e')); },
      [&] { anyRecord()->setThumbnailUri(below(2) == 0 ? OptionalString() : anyId()); },
      [&] { caches[below(2)]->setObject(anyRecord(), anyId()); },
      [&] { caches[below(2)]->removeObjectForKey(anyId()); }};
  const std::function<void()> seldom[] = {
      [&] { service->setSyncInfoCache(caches[below(2)]); },
      [&] { caches[below(2)] = SyncInfoDictionary::dictionary(); },
      [&] { caches[below(2)]->removeAllObjects(); }, [&] { service->clearSyncInfoCache(); }};
  for (int step = 0; step < 3000; ++step) {
    below(20) == 0 ? seldom[below(4)]() : often[below(7)]();
    const std::string before = file();
    platform.files->writeError = below(4) == 0 ? NSError::errorWithDomain("D", 1) : nullptr;
    service->saveSyncInfoCache();
    if (std::exchange(platform.files->writeError, nullptr)) {
      ASSERT_EQ(file(), before);
    } else {
      ErrorPtr error;
      const auto entries = SyncInfoArchive::load(file(), &error);
      ASSERT_TRUE(entries) << told(error);
      ASSERT_EQ(recordsOf(*entries), held()) << step;
    }
  }
}

}  // namespace
}  // namespace quillfold::testing
