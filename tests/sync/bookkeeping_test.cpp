// What the library remembers of uploads: the records, their file, the next process.
#include <atomic>
#include <csignal>
#include <cstdio>
#include <latch>
#include <random>
#include <thread>

#include "sync/contact_sync_info.h"
#include "sync/sync_info_archive.h"
#include "tests/support/keyed_plist.h"
#include "tests/support/service_test.h"

namespace quillfold::testing {
namespace {

constexpr const char* kPath = "/support/AppFrameworks/Quillfold/contact_sync_info.plist";

using Records = std::map<std::string, Dictionary>;

// Every field by its coded key; an absent text is null.
Records recordsOf(const SyncInfoDictionary::Entries& entries) {
  Records out;
  for (const auto& [key, r] : entries) {
    out[key] = {{"contactId", valueOrNull(r->contactId())},
                {"lastSyncedAt", r->lastSyncedAt()},
                {"contactHash", valueOrNull(r->contactHash())},
                {"isDeleted", r->isDeleted()},
                {"isDirty", r->isDirty()},
                {"matchString", valueOrNull(r->matchString())},
                {"displayNameForSort", valueOrNull(r->displayNameForSort())},
                {"primaryInfo", valueOrNull(r->primaryInfo())},
                {"thumbnailUri", valueOrNull(r->thumbnailUri())},
                {"sourceId", valueOrNull(r->sourceId())},
                {"syncInProgress", r->syncInProgress()},
                {"syncError", valueOrNull(r->syncError())}};
  }
  return out;
}

class Bookkeeping : public ServiceTest {
 protected:
  std::string& file() { return platform.files->contents[kPath]; }
  Records held() { return recordsOf(service->syncInfoCache()->entries()); }
  static QFContactPtr contact(const std::string& id, const std::string& name) {
    const auto out = QFContact::initWithIdentifier(id);
    out->setDisplayName(name);
    out->setMatchString(name);
    return out;
  }
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
  EXPECT_TRUE(service->hasContactChanged(*ann));
  EXPECT_TRUE(logged(std::string("No sync info cache file exists yet at ") + kPath));
  EXPECT_EQ(activeNames(), " ");
  const auto record = service->saveSyncInfoForContact(*ann);
  const double synced = record->lastSyncedAt();
  EXPECT_EQ(synced, platform.clock->seconds);
  EXPECT_FALSE(record->needsSync() || service->hasContactChanged(*ann));
  platform.clock->seconds += 5;
  service->markContactAsDeleted("a");
  EXPECT_TRUE(record->isDeleted() && record->needsSync() && activeNames().empty());
  EXPECT_TRUE(record->lastSyncedAt() > synced && !service->hasContactChanged(*ann));
  record->setSyncError("old");
  ann->setMatchString("Anna");
  EXPECT_TRUE(service->hasContactChanged(*ann));
  service->saveSyncInfoForContact(*ann);
  EXPECT_FALSE(record->isDeleted() || record->isDirty());
  EXPECT_EQ(record->syncError(), "old");
  for (const char* name : {"Zoe", "ann", "f", "é", "e"})
    save(name, name);
  service->syncInfoForContactId("x")->setDisplayNameForSort({});
  EXPECT_EQ(activeNames(), "(absent) Ann Zoe ann e é f ");
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
  save("a", "Ann");
  EXPECT_TRUE(logged("Error creating Quillfold directory: full"));
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
  EXPECT_TRUE(logged("Error deleting sync info file: full"));
  EXPECT_EQ(service->allSyncInfo().size(), 2u);
  files.removeError = nullptr;
  service->clearSyncInfoCache();
  service->clearSyncInfoCache();
  EXPECT_EQ(platform.log->count("Successfully cleared sync info cache"), 1u);
  EXPECT_TRUE(service->allSyncInfo().empty());
}

TEST_F(Bookkeeping, IsReadOnAnyThreadWhileItIsSaved) {
  for (int i = 0; i < 30; ++i)
    save(std::to_string(i), "A");
  service->setSyncInfoCache(nullptr);
  std::latch loaded(3);
  std::atomic<bool> done = false;
  const auto readAll = [&] {
    EXPECT_EQ(service->activeSyncInfo().size(), 30u);
    loaded.count_down();
    while (!done) {
      EXPECT_FALSE(activeNames().empty());
      EXPECT_TRUE(service->syncInfoForContactId("7")->contactHash());
    }
  };
  std::thread readers[] = {std::thread(readAll), std::thread(readAll), std::thread(readAll)};
  loaded.wait();
  for (int i = 0; i < 300; ++i)
    save(std::to_string(i % 30), std::to_string(i));
  done = true;
  for (std::thread& reader : readers)
    reader.join();
}

TEST_F(Bookkeeping, IsReadByLibplistFieldByField) {
  save("a", "Zoë 😀");
  const auto full = service->syncInfoForContactId("a");
  full->setThumbnailUri("file:///t");
  full->setSourceId("S");
  full->setPrimaryInfo("+1");
  full->recordSyncError(NSError::errorWithDomain("D", 1, {{NSLocalizedDescriptionKey, "no"}}));
  full->setSyncInProgress(true);
  full->setLastSyncedAt(1700000000.25);
  service->syncInfoForContactId("b")->setMatchString({});
  service->markContactAsDeleted("c");
  const Value archive = unarchivedRoot(file());
  ASSERT_TRUE(archive.isDictionary());
  const Dictionary& root = *archive.asDictionary();
  EXPECT_EQ(*find(root, "$class"), Value("NSMutableDictionary"));
  Records read;
  for (const Value& key : *find(root, "NS.keys")->asArray()) {
    const auto& record = find(root, "NS.objects")->asArray()->at(read.size());
    read[*key.asString()] = *record.asDictionary();
  }
  Records expected = held();
  for (auto& [key, record] : expected)
    record["$class"] = "QFContactSyncInfo";
  EXPECT_EQ(read, expected);
  EXPECT_EQ(read["a"]["displayNameForSort"], Value("Zoë 😀"));
  EXPECT_TRUE(read["a"]["contactHash"].isString() && read["b"]["contactHash"].isNull());
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
                                    {"unknown", uidOf(4)},
                                    {"matchString", uidOf(0)},
                                    {"$class", uidOf(3)}}),
                      dictionaryOf({{"$class", uidOf(3)}})},
                     root);
  };
  const std::string good = written("QFContactSyncInfo", 1);
  // Tried again, and logged, by each read while there is no record.
  for (const std::string& faulty : {written("NSDate", 1), good.substr(0, 99), std::string("?")}) {
    file() = faulty;
    platform.log->clear();
    EXPECT_TRUE(service->allSyncInfo().empty() && service->activeSyncInfo().empty());
    const auto failure = ::testing::StartsWith("Error unarchiving sync info: ");
    EXPECT_THAT(platform.log->lines(), ::testing::ElementsAre(failure, failure));
    EXPECT_EQ(file(), faulty);
  }
  platform.log->clear();
  file() = written("QFContactSyncInfo", 4);
  EXPECT_TRUE(service->allSyncInfo().empty());
  file() = good;
  platform.files->readFails = true;
  EXPECT_TRUE(service->allSyncInfo().empty());
  EXPECT_TRUE(platform.log->lines().empty());
  platform.files->readFails = false;
  EXPECT_EQ(service->allSyncInfo().size(), 2u);
  EXPECT_TRUE(logged("Loaded 2 contact sync info records"));
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

// A process that is killed while its third batch is on the way, and the next one.
TEST_F(Bookkeeping, TheNextProcessResumesWithExactlyWhatWasNotSent) {
  std::FILE* const handedOver = std::tmpfile();
  const auto untilKilled = [&] {
    platform.serveBackend([&](FakeTask& task) {
      if (platform.sessions->count(kUploadPath) < 3 || task.path() != kUploadPath) return false;
      std::fwrite(file().data(), 1, file().size(), handedOver);
      return std::fflush(handedOver) == 0 && std::raise(SIGKILL) == 0;
    });
    makeReady(45);
    service->syncContacts(nullptr);
    platform.settle();
  };
  EXPECT_EXIT(untilKilled(), ::testing::KilledBySignal(SIGKILL), "");
  std::rewind(handedOver);
  file().resize(1 << 20);
  file().resize(std::fread(file().data(), 1, file().size(), handedOver));
  std::fclose(handedOver);
  makeReady(45);
  platform.contacts->replace(MemoryContacts::person("id07", "Renamed"));
  for (int round = 0; round < 2; ++round) {
    service->syncContacts(nullptr);
    platform.settle();
    EXPECT_EQ(uploads(), Uploads({{"id07", "id40", "id41", "id42", "id43", "id44"}}));
  }
  EXPECT_TRUE(logged("Loaded 45 contact sync info records"));
}

}  // namespace
}  // namespace quillfold::testing
