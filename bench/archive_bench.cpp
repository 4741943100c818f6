// What it costs to keep the archive of the bookkeeping up to date on the disk,
// beside writing the same file whole. But for the first save of a path neither side calls
// fsync.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "adapters/linux/system.h"
#include "foundation/archive/keyed_archive.h"
#include "foundation/archive/record_archive.h"
#include "tests/support/temporary_folder.h"

namespace quillfold {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;
using Type = RecordArchive::FieldType;

constexpr int kRecords = 10000;

// A file that is replaced as files are everywhere: a temporary file beside the path, one
// write, and a rename.
void replacePlainly(const std::string& path, std::string_view bytes) {
  const std::string temporary = path + ".new";
  const int file = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (file < 0) std::abort();
  while (!bytes.empty()) {
    const ssize_t written = write(file, bytes.data(), bytes.size());
    if (written < 0) std::abort();
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  if (close(file) != 0 || rename(temporary.c_str(), path.c_str()) != 0) std::abort();
}

// The bytes that this process has handed to the kernel so far.
double bytesWritten() {
  std::ifstream counters("/proc/self/io");
  std::string name;
  double count = 0;
  while (counters >> name >> count && name != "wchar:") {
  }
  return count;
}

// A record as a contact with a name, two numbers and an address leaves it.
class Records {
 public:
  Records()
      : archive("QFContactSyncInfo", {{"contactId", Type::string},
                                      {"lastSyncedAt", Type::real},
                                      {"contactHash", Type::string},
                                      {"isDeleted", Type::boolean},
                                      {"isDirty", Type::boolean},
                                      {"matchString", Type::string},
                                      {"displayNameForSort", Type::string},
                                      {"primaryInfo", Type::string},
                                      {"thumbnailUri", Type::string},
                                      {"sourceId", Type::string},
                                      {"syncInProgress", Type::boolean},
                                      {"syncError", Type::string}}) {}

  void save(int number) {
    const auto index = static_cast<std::size_t>(number);
    if (index == keys_.size()) {
      keys_.push_back(text(8, "0123456789ABCDEF") + "-0000-4000-8000-" +
                      text(12, "0123456789ABCDEF") + ":ABPerson");
    }
    const std::string hash = text(64, "0123456789abcdef");
    const std::string name = text(6 + random_() % 8, kLetters) + " " +
                             text(6 + random_() % 8, random_() % 10 == 0 ? "é" : kLetters);
    const std::string phone = "+1" + text(10, "0123456789");
    const std::string match = name + " " + phone + " " + text(12, "0123456789") + " " +
                              text(12 + random_() % 20, kLetters) + "@example.com " +
                              text(20 + random_() % 30, kLetters);
    const RecordArchive::FieldValue values[] = {
        keys_[index], static_cast<double>(1700000000 + number),
        hash,         false,
        false,        match,
        name,         phone,
        {},           {},
        false,        {}};
    if (archive.set(keys_[index], values)) std::abort();
  }
  int anyNumber() { return static_cast<int>(random_() % keys_.size()); }

  RecordArchive archive;

 private:
  static constexpr const char* kLetters = "abcdefghijklmnopqrstuvwxyz";

  std::string text(std::size_t length, std::string_view of) {
    // A text of one letter that is not ASCII is taken as a whole.
    if (static_cast<unsigned char>(of[0]) >= 0x80) return std::string(of) + text(length, kLetters);
    std::string out;
    while (out.size() < length)
      out += of[random_() % of.size()];
    return out;
  }

  std::mt19937 random_{1};
  std::vector<std::string> keys_;
};

// An archive with its file, which is revised or written whole.
class Book {
 public:
  explicit Book(bool whole) : whole_(whole) {}

  void fill(int count) {
    for (int i = 0; i < count; ++i)
      records_.save(i);
    // Until both twins are there.
    for (int i = 0; i < 3; ++i)
      save(i);
  }
  void save(int number) {
    const double before = bytesWritten();
    const auto start = Clock::now();
    records_.save(number);
    const RevisedBytes& contents = records_.archive.contents();
    if (whole_) {
      replacePlainly(folder_.path("file"), contents.bytes());
    } else if (files_->reviseFileAtPath(folder_.path("file"), contents)) {
      std::abort();
    }
    time_ += Clock::now() - start;
    written_ += bytesWritten() - before;
    ++saves_;
  }
  void change(int saves) {
    for (int i = 0; i < saves; ++i)
      save(records_.anyNumber());
  }
  void restart() { time_ = {}, written_ = 0, saves_ = 0; }

  RecordArchive& archive() { return records_.archive; }
  Seconds mean() const { return time_ / saves_; }
  double bytesPerSave() const { return written_ / saves_; }

 private:
  const bool whole_;
  TemporaryFolder folder_;
  std::shared_ptr<FileManager> files_ = makeFileManager({});
  Records records_;
  Seconds time_{};
  double written_ = 0;
  int saves_ = 0;
};

// So many saves in turn with as many of another book, so that both meet the same machine
// and neither the other's caches.
constexpr int kTurn = 100;

// One record changes, its size too, and the file is written.
void takeTurns(benchmark::State& state, Book& book, Book& other) {
  book.restart();
  other.restart();
  for (auto _ : state) {
    book.change(kTurn);
    other.change(kTurn);
    state.SetIterationTime(book.mean().count());
  }
}

void BM_SaveOneOfTenThousand(benchmark::State& state) {
  Book revised(false), whole(true);
  revised.fill(kRecords);
  whole.fill(kRecords);
  takeTurns(state, revised, whole);
  state.counters["ratio"] = revised.mean() / whole.mean();
  state.counters["whole_us"] = 1e6 * whole.mean().count();
  state.counters["bytes_per_save"] = revised.bytesPerSave();
}
BENCHMARK(BM_SaveOneOfTenThousand)->UseManualTime()->Iterations(20)->Unit(benchmark::kMicrosecond);

// Without files of ten megabytes beside them, which keep the kernel busy.
void BM_SaveBesideOneOfAThousand(benchmark::State& state) {
  Book revised(false), small(false);
  revised.fill(kRecords);
  small.fill(kRecords / 10);
  takeTurns(state, revised, small);
  state.counters["ratio"] = revised.mean() / small.mean();
}
BENCHMARK(BM_SaveBesideOneOfAThousand)
    ->UseManualTime()
    ->Iterations(100)
    ->Unit(benchmark::kMicrosecond);

// A first sync: a record is added and the file written, for each contact.
void BM_GrowToTenThousand(benchmark::State& state) {
  Book revised(false), whole(true);
  for (auto _ : state) {
    for (int i = 0; i < kRecords; i += kTurn) {
      for (Book* book : {&revised, &whole}) {
        for (int number = i; number < i + kTurn; ++number)
          book->save(number);
      }
    }
    state.SetIterationTime(kRecords * revised.mean().count());
  }
  state.counters["ratio"] = revised.mean() / whole.mean();
  state.counters["whole_s"] = kRecords * whole.mean().count();
  state.counters["bytes_per_save"] = revised.bytesPerSave();
  state.counters["file_to_used"] =
      static_cast<double>(revised.archive().contents().bytes().size()) /
      static_cast<double>(revised.archive().byteCount());
}
BENCHMARK(BM_GrowToTenThousand)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void BM_Load(benchmark::State& state) {
  Records records;
  for (int i = 0; i < kRecords; ++i)
    records.save(i);
  const std::string_view bytes = records.archive.contents().bytes();
  const auto read = [](const std::string& key, KeyedDecoder& record) {
    benchmark::DoNotOptimize(key);
    for (const char* text : {"contactId", "contactHash", "matchString", "displayNameForSort",
                             "primaryInfo", "thumbnailUri", "sourceId", "syncError"}) {
      benchmark::DoNotOptimize(record.decodeStringForKey(text));
    }
    for (const char* flag : {"isDeleted", "isDirty", "syncInProgress"}) {
      benchmark::DoNotOptimize(record.decodeBoolForKey(flag));
    }
    benchmark::DoNotOptimize(record.decodeDoubleForKey("lastSyncedAt"));
  };
  for (auto _ : state) {
    if (!KeyedUnarchiver::readRecordDictionary(bytes, "QFContactSyncInfo", read)) std::abort();
  }
}
BENCHMARK(BM_Load)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace quillfold

BENCHMARK_MAIN();
