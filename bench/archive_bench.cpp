// What it costs to keep the archive of the bookkeeping up to date on the disk,
// beside writing as many bytes from one buffer. Neither side calls fsync.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/uio.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "foundation/archive/keyed_archive.h"
#include "foundation/archive/record_archive.h"

namespace quillfold {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;
using Type = RecordArchive::FieldType;

constexpr int kRecords = 10000;

// A file in a directory of its own below the one for temporary files.
class Target {
 public:
  Target() {
    const char* base = std::getenv("TMPDIR");
    directory_ = std::string(base != nullptr ? base : "/tmp") + "/archive_bench.XXXXXX";
    if (mkdtemp(directory_.data()) == nullptr) std::abort();
  }
  ~Target() {
    unlink(path().c_str());
    rmdir(directory_.c_str());
  }
  Target(const Target&) = delete;

  // As files are replaced everywhere: a temporary file beside the path, one
  // gathered write, and a rename.
  void replace(std::span<const std::string_view> pieces) const {
    const std::string temporary = path() + ".new";
    const int file = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (file < 0) std::abort();
    std::vector<iovec> parts;
    for (const auto piece : pieces) {
      if (!piece.empty()) parts.push_back({const_cast<char*>(piece.data()), piece.size()});
    }
    writeAll(file, parts);
    if (close(file) != 0 || rename(temporary.c_str(), path().c_str()) != 0) std::abort();
  }

 private:
  std::string path() const { return directory_ + "/contact_sync_info.plist"; }

  static void writeAll(int file, std::vector<iovec>& parts) {
    for (std::size_t at = 0; at < parts.size();) {
      const auto count = static_cast<int>(std::min<std::size_t>(parts.size() - at, IOV_MAX));
      const ssize_t result = writev(file, parts.data() + at, count);
      if (result < 0) std::abort();
      auto written = static_cast<std::size_t>(result);
      while (at < parts.size() && written >= parts[at].iov_len)
        written -= parts[at++].iov_len;
      if (at < parts.size()) {
        parts[at].iov_base = static_cast<char*>(parts[at].iov_base) + written;
        parts[at].iov_len -= written;
      }
    }
  }

  std::string directory_;
};

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

// Times a save and the plain write of the same bytes, one after the other, so
// that both meet the same machine.
class Comparison {
 public:
  void save(Records& records, int number) {
    const auto start = Clock::now();
    records.save(number);
    const auto pieces = records.archive.pieces();
    encoding_ += Clock::now() - start;
    target_.replace(pieces);
    last_ = Clock::now() - start;
    saving_ += last_;

    bytes_.clear();
    for (const auto piece : pieces)
      bytes_ += piece;
    const std::string_view whole = bytes_;
    const auto plainStart = Clock::now();
    plainTarget_.replace({&whole, 1});
    plain_ += Clock::now() - plainStart;
  }

  Seconds last() const { return last_; }
  void report(benchmark::State& state) const {
    state.counters["ratio"] = saving_ / plain_;
    state.counters["encoding"] = encoding_ / saving_;
    state.counters["plain_s"] =
        benchmark::Counter(plain_.count(), benchmark::Counter::kAvgIterations);
    state.counters["bytes"] = static_cast<double>(bytes_.size());
  }

 private:
  Target target_;
  Target plainTarget_;
  std::string bytes_;
  Seconds encoding_{}, saving_{}, plain_{}, last_{};
};

// One record changes, its size too, and the file is written.
void BM_SaveOneOfTenThousand(benchmark::State& state) {
  Records records;
  for (int i = 0; i < kRecords; ++i)
    records.save(i);
  Comparison comparison;
  for (auto _ : state) {
    comparison.save(records, records.anyNumber());
    state.SetIterationTime(comparison.last().count());
  }
  comparison.report(state);
}
BENCHMARK(BM_SaveOneOfTenThousand)->UseManualTime()->Unit(benchmark::kMillisecond);

// A first sync: a record is added and the file written, for each contact. With
// an argument of n only every nth record is followed by a save.
void BM_GrowToTenThousand(benchmark::State& state) {
  Comparison comparison;
  for (auto _ : state) {
    Records records;
    Seconds total{};
    for (int i = 0; i < kRecords; ++i) {
      if (i % state.range(0) != 0) {
        records.save(i);
        continue;
      }
      comparison.save(records, i);
      total += comparison.last();
    }
    state.SetIterationTime(total.count());
  }
  comparison.report(state);
}
BENCHMARK(BM_GrowToTenThousand)
    ->Arg(1)
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

void BM_Load(benchmark::State& state) {
  Records records;
  for (int i = 0; i < kRecords; ++i)
    records.save(i);
  std::string bytes;
  for (const auto piece : records.archive.pieces())
    bytes += piece;
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
