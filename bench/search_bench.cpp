// What a search costs, beside memmem, SQLite and ICU on the same texts, and what
// it costs to keep ready for it. Both sides of a comparison take turns; the
// counter "ratio" is the quotient of their medians, "reference" the other side's
// time in seconds.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <sqlite3.h>
#include <unicode/coll.h>
#include <unicode/stsearch.h>
#include <unicode/tblcoll.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "facade/contact_service.h"
#include "foundation/text.h"
#include "model/contact.h"
#include "search/search_index.h"
#include "sync/contact_sync_info.h"
#include "sync/sync_info_dictionary.h"

namespace quillfold {
namespace {

using Clock = std::chrono::steady_clock;
using Words = std::vector<std::string>;

// --- A generated address book ------------------------------------------------

const Words kGiven = {"Ann",   "John", "Maria", "Peter", "Susan",  "Robert", "Linda", "James",
                      "Emma",  "Noah", "Olga",  "Hugo",  "Walter", "Iris",   "Karen", "Felix",
                      "Clara", "Dora", "Simon", "Tim",   "Ursula", "Vera",   "Zoe",   "adam"};
const Words kFamily = {"Lee",     "Smith",  "Miller", "Johnson",  "Brown",  "Garcia", "Wilson",
                       "Andrews", "Fisher", "Walker", "Novak",    "Carter", "Hughes", "Palmer",
                       "Richter", "Torres", "Jensen", "Kowalski", "Moore",  "Baker"};
const std::vector<std::pair<const char*, const char*>> kOthers = {
    {"Élodie", "Müller"}, {"Søren", "Ångström"}, {"José", "Núñez"},     {"Jürgen", "Weiß"},
    {"Иван", "Петров"},   {"Ольга", "Смирнова"}, {"Γιώργος", "Παππάς"}, {"김", "민준"},
    {"田中", "太郎"},     {"محمد", "حسن"},       {"अनिल", "शर्मा"},      {"สมชาย", "ใจดี"}};
const Words kOrganizations = {
    "", "", "", "Acme", "Northwind Trading", "Blue Harbor", "Orchard Labs"};
const Words kCities = {"Springfield", "Riverton", "Lakeside", "Georgetown", "Fairview", "Ashland"};
const Words kStreets = {"Main St", "Oak Avenue", "Mill Road", "Hill Street", "Station Road"};
constexpr const char* kRareWord = "quillon";
constexpr std::size_t kRareEvery = 4999;

class Generator {
 public:
  QFContactSyncInfoPtr contact(std::size_t number) {
    std::string given = pick(kGiven), family = pick(kFamily);
    if (number % 5 == 0) std::tie(given, family) = kOthers[random_() % kOthers.size()];
    const auto record = QFContactSyncInfo::initWithContactId(digits(8) + "-0000-4000-8000-" +
                                                             digits(12) + ":ABPerson");
    record->setDisplayNameForSort(given + " " + family);
    std::string match = given + "  " + family + "   " + pick(kOrganizations) + "   " + "1" +
                        digits(10) + " " + text::lowercaseString(pick(kGiven)) + digits(3) + "." +
                        text::lowercaseString(pick(kFamily)) + "@mail.example " + digits(3) + " " +
                        pick(kStreets) + " " + pick(kCities) + "  " + digits(5) + " USA";
    if (number % kRareEvery == 7) match += std::string(" ") + kRareWord;
    record->setMatchString(std::move(match));
    return record;
  }
  std::size_t below(std::size_t limit) { return random_() % limit; }

 private:
  const std::string& pick(const Words& words) { return words[random_() % words.size()]; }
  std::string digits(std::size_t count) {
    std::string out;
    while (out.size() < count)
      out += static_cast<char>('0' + random_() % 10);
    return out;
  }
  std::mt19937_64 random_{1};
};

// The records, and the texts in the forms that the other sides want.
struct Book {
  std::shared_ptr<SyncInfoDictionary> dictionary = SyncInfoDictionary::dictionary();
  std::vector<QFContactSyncInfoPtr> records;
  SearchIndex index;
  std::size_t textBytes = 0;  // of match strings and sort names
  std::string sweep;          // the folded texts, each with a line end
  std::vector<std::string_view> folded;

  explicit Book(std::size_t count) {
    Generator generator;
    SyncInfoDictionary::Entries entries;
    std::vector<std::size_t> ends;
    for (std::size_t i = 0; i < count; ++i) {
      records.push_back(generator.contact(i));
      entries.emplace_back(*records.back()->contactId(), records.back());
      const std::string match = *records.back()->matchString();
      textBytes += match.size() + records.back()->displayNameForSort()->size();
      sweep += text::folded(match).bytes + '\n';
      ends.push_back(sweep.size());
    }
    dictionary->addEntriesIfEmpty(entries);
    std::size_t begin = 0;
    for (const std::size_t end : ends) {
      folded.push_back(std::string_view(sweep).substr(begin, end - begin - 1));
      begin = end;
    }
  }

  // The last one is kept.
  static Book& of(const benchmark::State& state) {
    static std::unique_ptr<Book> book;
    const auto count = static_cast<std::size_t>(state.range(0));
    if (!book || book->records.size() != count) {
      book.reset();
      book = std::make_unique<Book>(count);
    }
    return *book;
  }
};

// --- Comparing -----------------------------------------------------------------

template <typename Work>
double seconds(const Work& work) {
  const auto start = Clock::now();
  work();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

template <typename Ours, typename Reference>
void compare(benchmark::State& state, double goal, const Ours& ours, const Reference& reference) {
  std::vector<double> own, other;
  ours();
  reference();
  for (auto _ : state) {
    own.push_back(seconds(ours));
    other.push_back(seconds(reference));
    state.SetIterationTime(own.back());
  }
  state.counters["ratio"] = median(own) / median(other);
  state.counters["reference"] = median(other);
  state.counters["median"] = median(own);
  if (goal > 0) state.counters["goal"] = goal;
}

// The filter with its order and the cut of the page, down to the identifiers.
std::int64_t fullSearch(Book& book, const Words& tokens) {
  const SearchHits hits =
      book.index.snapshot(book.dictionary)->search(tokens, SearchText::Match, {0, 20});
  for (const auto& record : hits.window)
    benchmark::DoNotOptimize(record->contactId());
  return hits.total;
}

std::size_t memmemSweep(std::string_view text, std::string_view token) {
  std::size_t count = 0;
  const char* const end = text.data() + text.size();
  for (const char* at = text.data();; ++count) {
    const void* const found =
        memmem(at, static_cast<std::size_t>(end - at), token.data(), token.size());
    if (found == nullptr) return count;
    at = static_cast<const char*>(found) + token.size();
  }
}

std::size_t memmemPerRecord(const Book& book, std::string_view token) {
  return static_cast<std::size_t>(
      std::count_if(book.folded.begin(), book.folded.end(), [&](std::string_view text) {
        return memmem(text.data(), text.size(), token.data(), token.size()) != nullptr;
      }));
}

// --- Full and quick search ------------------------------------------------------

void beside(benchmark::State& state, double goal, const Words& tokens, bool perRecord) {
  Book& book = Book::of(state);
  const auto longest =
      *std::max_element(tokens.begin(), tokens.end(),
                        [](const auto& a, const auto& b) { return a.size() < b.size(); });
  compare(
      state, goal, [&] { benchmark::DoNotOptimize(fullSearch(book, tokens)); },
      [&] {
        benchmark::DoNotOptimize(perRecord ? memmemPerRecord(book, longest)
                                           : memmemSweep(book.sweep, longest));
      });
  state.counters["hits"] = static_cast<double>(fullSearch(book, tokens));
}

void FullRare(benchmark::State& state) {
  beside(state, 0.5, {kRareWord}, false);
}
void FullTwoTokens(benchmark::State& state) {
  beside(state, 0.8, {"ann", "riverton"}, false);
}
void FullThreeTokens(benchmark::State& state) {
  beside(state, 0.8, {"zoe", "lee", "springfield"}, false);
}
void FullFrequent(benchmark::State& state) {
  beside(state, 0.6, {"example"}, true);
}
void FullFrequentShort(benchmark::State& state) {
  beside(state, 0.6, {"an"}, true);
}
void FullFrequentOtherScript(benchmark::State& state) {
  beside(state, 0.6, {"ü"}, true);
}

void QuickFrequent(benchmark::State& state) {
  Book& book = Book::of(state);
  const auto search = [&] {
    const SearchHits hits = book.index.snapshot(book.dictionary)->searchFirst("example", 20);
    for (const auto& record : hits.window)
      benchmark::DoNotOptimize(record->contactId());
  };
  search();
  for (auto _ : state)
    search();
}

// --- SQLite and ICU --------------------------------------------------------------

class Database {
 public:
  explicit Database(const Book& book) {
    if (sqlite3_open(":memory:", &database_) != SQLITE_OK) std::abort();
    run("CREATE TABLE plain (text TEXT)");
    run("CREATE VIRTUAL TABLE trigram USING fts5(text, tokenize = 'trigram')");
    run("BEGIN");
    for (const char* insert : {"INSERT INTO plain VALUES (?)", "INSERT INTO trigram VALUES (?)"}) {
      sqlite3_stmt* statement = prepared(insert);
      for (const std::string_view text : book.folded) {
        sqlite3_bind_text(statement, 1, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
        if (sqlite3_step(statement) != SQLITE_DONE) std::abort();
        sqlite3_reset(statement);
      }
      sqlite3_finalize(statement);
    }
    run("COMMIT");
  }
  ~Database() { sqlite3_close(database_); }
  Database(const Database&) = delete;

  std::int64_t count(const char* query, const std::string& parameter) {
    sqlite3_stmt* statement = prepared(query);
    sqlite3_bind_text(statement, 1, parameter.data(), static_cast<int>(parameter.size()),
                      SQLITE_STATIC);
    if (sqlite3_step(statement) != SQLITE_ROW) std::abort();
    const std::int64_t result = sqlite3_column_int64(statement, 0);
    sqlite3_finalize(statement);
    return result;
  }

  static Database& of(const Book& book) {
    static std::unique_ptr<Database> database;
    static const Book* of = nullptr;
    static std::size_t size = 0;
    if (of != &book || size != book.records.size()) {
      database.reset();
      database = std::make_unique<Database>(book);
    }
    of = &book;
    size = book.records.size();
    return *database;
  }

 private:
  void run(const char* text) {
    if (sqlite3_exec(database_, text, nullptr, nullptr, nullptr) != SQLITE_OK) std::abort();
  }
  sqlite3_stmt* prepared(const char* text) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(database_, text, -1, &statement, nullptr) != SQLITE_OK) std::abort();
    return statement;
  }
  sqlite3* database_ = nullptr;
};

void besideSQLite(benchmark::State& state, const std::string& token, const char* query,
                  const std::string& parameter) {
  Book& book = Book::of(state);
  Database& database = Database::of(book);
  if (database.count(query, parameter) != fullSearch(book, {token})) std::abort();
  compare(
      state, 0, [&] { benchmark::DoNotOptimize(fullSearch(book, {token})); },
      [&] { benchmark::DoNotOptimize(database.count(query, parameter)); });
}

constexpr const char* kLike = "SELECT count(*) FROM plain WHERE text LIKE ?";
constexpr const char* kTrigram = "SELECT count(*) FROM trigram WHERE text MATCH ?";
void RareBesideLike(benchmark::State& state) {
  besideSQLite(state, kRareWord, kLike, "%quillon%");
}
void RareBesideTrigram(benchmark::State& state) {
  besideSQLite(state, kRareWord, kTrigram, "\"quillon\"");
}
void FrequentBesideLike(benchmark::State& state) {
  besideSQLite(state, "example", kLike, "%example%");
}
void FrequentBesideTrigram(benchmark::State& state) {
  besideSQLite(state, "example", kTrigram, "\"example\"");
}

// Ignores case and heeds accents, as the search does.
void RareBesideICU(benchmark::State& state) {
  Book& book = Book::of(state);
  std::vector<icu::UnicodeString> texts;
  for (const auto& record : book.records) {
    texts.push_back(icu::UnicodeString::fromUTF8(*record->matchString()));
  }
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::Collator> collator(
      icu::Collator::createInstance(icu::Locale::getRoot(), status));
  collator->setStrength(icu::Collator::SECONDARY);
  icu::StringSearch search(icu::UnicodeString(kRareWord), icu::UnicodeString(" "),
                           dynamic_cast<icu::RuleBasedCollator*>(collator.get()), nullptr, status);
  if (U_FAILURE(status)) std::abort();
  compare(
      state, 0, [&] { benchmark::DoNotOptimize(fullSearch(book, {kRareWord})); },
      [&] {
        int hits = 0;
        for (const auto& text : texts) {
          search.setText(text, status);
          hits += search.first(status) != USEARCH_DONE;
        }
        benchmark::DoNotOptimize(hits);
      });
}

// --- Keeping ready ----------------------------------------------------------------

void SnapshotAfterOneChange(benchmark::State& state) {
  Book& book = Book::of(state);
  Generator generator;
  // Another name, so that the record moves to another place as well.
  const auto change = [&] {
    const auto any = [&] { return book.records[generator.below(book.records.size())]; };
    any()->setDisplayNameForSort(any()->displayNameForSort());
    benchmark::DoNotOptimize(book.index.snapshot(book.dictionary));
  };
  compare(state, 0.1, change,
          [&] { benchmark::DoNotOptimize(SearchIndex().snapshot(book.dictionary)); });
}

void SnapshotMemory(benchmark::State& state) {
  Book& book = Book::of(state);
  SearchIndex index;
  const auto snapshot = index.snapshot(book.dictionary);
  for (auto _ : state)
    benchmark::DoNotOptimize(snapshot->memory());
  state.counters["bytes"] = static_cast<double>(snapshot->memory());
  state.counters["text"] = static_cast<double>(book.textBytes);
  state.counters["ratio"] =
      static_cast<double>(snapshot->memory()) / static_cast<double>(book.textBytes);
  state.counters["goal"] = 1.5;
}

// --- The check for a change --------------------------------------------------------

// The facade on the Linux platform, in folders of its own.
QFContactService& facade() {
  static const std::string home = [] {
    std::string folder = (std::filesystem::temp_directory_path() / "search_bench.XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) std::abort();
    for (const char* name : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME"}) {
      setenv(name, folder.c_str(), 1);
    }
    return folder;
  }();
  static const struct Cleaner {
    ~Cleaner() { std::filesystem::remove_all(home); }
  } cleaner;
  return *QFContactService::sharedInstance();
}

void ChangeCheck(benchmark::State& state) {
  Book& book = Book::of(state);
  QFContactService& service = facade();
  service.setSyncInfoCache(book.dictionary);
  const auto& record = book.records[3];
  const auto contact = QFContact::initWithIdentifier(*record->contactId());
  contact->setMatchString(*record->matchString());
  record->setContactHash(contact->generateContactHash());
  const std::string bytes = *record->matchString();
  const EVP_MD* digest = EVP_MD_fetch(nullptr, "SHA256", nullptr);
  EVP_MD_CTX* context = EVP_MD_CTX_new();
  constexpr int kTimes = 1000;
  compare(
      state, 2,
      [&] {
        for (int i = 0; i < kTimes; ++i)
          benchmark::DoNotOptimize(service.hasContactChanged(*contact));
      },
      [&] {
        std::array<unsigned char, EVP_MAX_MD_SIZE> hash{};
        for (int i = 0; i < kTimes; ++i) {
          EVP_DigestInit_ex2(context, digest, nullptr);
          EVP_DigestUpdate(context, bytes.data(), bytes.size());
          EVP_DigestFinal_ex(context, hash.data(), nullptr);
          benchmark::DoNotOptimize(hash);
        }
      });
}

// Ordered by size, so that each address book is generated once.
[[maybe_unused]] const bool registered = [] {
  struct Case {
    const char* name;
    void (*run)(benchmark::State&);
    std::int64_t most;
  };
  constexpr std::int64_t kAll = 1000000;
  const Case cases[] = {{"full/rare", FullRare, kAll},
                        {"full/two_tokens", FullTwoTokens, kAll},
                        {"full/three_tokens", FullThreeTokens, kAll},
                        {"full/frequent", FullFrequent, kAll},
                        {"full/frequent_short", FullFrequentShort, kAll},
                        {"full/frequent_other_script", FullFrequentOtherScript, kAll},
                        {"rare/beside_like", RareBesideLike, kAll},
                        {"rare/beside_fts5_trigram", RareBesideTrigram, kAll},
                        {"frequent/beside_like", FrequentBesideLike, kAll},
                        {"frequent/beside_fts5_trigram", FrequentBesideTrigram, kAll},
                        {"rare/beside_icu", RareBesideICU, kAll},
                        {"snapshot/memory", SnapshotMemory, kAll},
                        {"snapshot/one_change", SnapshotAfterOneChange, kAll},
                        {"change_check", ChangeCheck, 1000}};
  for (const std::int64_t count : {1000, 10000, 100000, 1000000}) {
    benchmark::RegisterBenchmark("quick/frequent", QuickFrequent)
        ->Arg(count)
        ->Unit(benchmark::kMicrosecond);
    for (const Case& each : cases) {
      if (count > each.most) continue;
      benchmark::RegisterBenchmark(each.name, each.run)
          ->Arg(count)
          ->UseManualTime()
          ->Iterations(std::clamp<std::int64_t>(20000000 / count / 10, 7, 2000))
          ->Unit(benchmark::kMicrosecond);
    }
  }
  return true;
}();

}  // namespace
}  // namespace quillfold

BENCHMARK_MAIN();
