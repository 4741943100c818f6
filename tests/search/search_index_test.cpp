// What the snapshot finds, beside a plain walk over the bookkeeping.
#include "search/search_index.h"

#include <gtest/gtest.h>
#include <unicode/locid.h>

#include <random>
#include <thread>

#include "facade/contact_service.h"
#include "foundation/text.h"
#include "testing/fake_platform.h"
#include "tests/support/plain_search.h"

namespace quillfold::testing {
namespace {

const std::vector<std::string> kWords = text::wordsOf(
    "Ann Lee lee Straße STRASSE Élodie E\u0301lodie \uFB01nn Finn ΟΔΟΣ οδος \u1FB3 αι İz i\u0307z "
    "한글 하 \u1112\u1161\u11AB กิน กน हिन्दी हन Иван Й и\u0306 漢字 \u212B A\u030A\u0323 "
    "\u1EA0\u030A ŉ ʼn 😀x 15550100199 a@b.de aaaab \xFFx");

class Book {
 public:
  explicit Book(unsigned seed) : random_(seed) {}

  std::size_t below(std::size_t limit) { return random_() % limit; }
  OptionalString text() {
    const auto word = [this] { return kWords[below(kWords.size())]; };
    std::string out = below(8) == 0 ? "" : word();
    for (std::size_t i = below(4); i > 0; --i)
      out += (below(4) == 0 ? "" : " ") + word();
    return below(20) == 0 ? OptionalString() : out;
  }
  // A piece of a text, in another case or form now and then.
  std::string query() {
    auto units = icu::UnicodeString::fromUTF8(text().value_or("e"));
    if (below(2) == 0) units = normalized(units, below(2) == 0);
    if (below(3) == 0) units.toUpper(icu::Locale::getRoot());
    std::string out;
    const int begin =
        units.getChar32Start(static_cast<int>(below(static_cast<std::size_t>(units.length()) + 1)));
    const int end =
        units.getChar32Start(std::min(begin + 1 + static_cast<int>(below(6)), units.length()));
    units.tempSubStringBetween(begin, end).toUTF8String(out);
    return text::trimmingWhitespaceAndNewlines(out).empty() ? "e" : out;
  }
  void fill(SyncInfoDictionary& dictionary, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
      edit(dictionary, QFContactSyncInfo::initWithContactId(key()));
  }
  void editSome(SyncInfoDictionary& dictionary) {
    const auto records = dictionary.allValues();
    for (std::size_t i = 1 + below(4); i > 0 && !records.empty(); --i) {
      edit(dictionary, records[below(records.size())]);
    }
  }

 private:
  std::string key() { return "id" + std::to_string(below(5000)); }

  void edit(SyncInfoDictionary& dictionary, const QFContactSyncInfoPtr& record) {
    record->setMatchString(text());
    const std::size_t choice = below(9);
    if (choice == 0) record->setIsDeleted(!record->isDeleted());
    if (choice == 1) record->setContactId(key());
    if (choice == 2) dictionary.removeObjectForKey(record->contactId().value_or(""));
    if (choice == 3) dictionary.setObject(QFContactSyncInfo::initWithContactId("new"), key());
    if (choice == 4) record->setDisplayNameForSort(text());
    if (choice > 4) dictionary.setObject(record, *record->contactId());
  }

  std::mt19937 random_;
};

Rows part(const Rows& rows, std::ptrdiff_t begin, std::ptrdiff_t end) {
  const auto at = [&](std::ptrdiff_t i) { return rows.begin() + std::min(i, std::ssize(rows)); };
  return {at(begin), at(end)};
}

// Compares every way to ask with the plain algorithm over activeSyncInfo.
void expectPlainAnswers(QFContactService& service, SearchIndex& index, Book& book) {
  const auto active = service.activeSyncInfo();
  const auto snapshot = index.snapshot(service.syncInfoCache());
  EXPECT_EQ(rowsOf(snapshot->list({}).window), rowsOf(active));
  for (int i = 0; i < 8; ++i) {
    const auto in = i < 4 ? SearchText::Match : SearchText::Name;
    std::vector<std::string> tokens = {book.query()};
    if (i % 2 == 1) tokens.push_back(book.query());
    std::vector<QFContactSyncInfoPtr> hits;
    std::copy_if(active.begin(), active.end(), std::back_inserter(hits), [&](const auto& each) {
      const auto text = in == SearchText::Name ? each->displayNameForSort() : each->matchString();
      return std::all_of(tokens.begin(), tokens.end(),
                         [&](const auto& token) { return plainlyContains(text, token); });
    });
    const Rows expected = rowsOf(hits);
    const SearchHits found = snapshot->search(tokens, in, {});
    ASSERT_EQ(rowsOf(found.window), expected) << tokens[0] << "|" << tokens.back();
    EXPECT_EQ(found.total, std::ssize(expected));
    EXPECT_EQ(rowsOf(snapshot->search(tokens, in, {1, 3}).window), part(expected, 1, 3));
    if (tokens.size() > 1 || in != SearchText::Match) continue;
    EXPECT_EQ(rowsOf(snapshot->searchFirst(tokens[0], 5).window), part(expected, 0, 5));
  }
}

TEST(SearchIndex, FindsWhatThePlainAlgorithmFindsAfterAnyEdit) {
  FakePlatform platform;
  const auto service = QFContactService::sharedInstance();
  for (unsigned seed = 1; seed <= 8; ++seed) {
    Book book(seed);
    SearchIndex index(seed % 3 == 0 ? SearchChunk::kRows : 16);
    const auto cache = SyncInfoDictionary::dictionary();
    service->setSyncInfoCache(cache);
    book.fill(*cache, seed % 2 == 0 ? 40 : 700);
    // Now and then somebody else searches while records change.
    const std::jthread searcher([&](const std::stop_token& stop) {
      while (seed % 4 == 1 && !stop.stop_requested())
        index.snapshot(cache)->search({"a"}, SearchText::Match, {});
    });
    for (int round = 0; round < 25; ++round) {
      SCOPED_TRACE(::testing::Message() << "seed " << seed << " round " << round);
      expectPlainAnswers(*service, index, book);
      if (HasFatalFailure()) return;
      if (round == 20) service->clearSyncInfoCache();
      book.editSome(*cache);
      book.fill(*cache, 1);
    }
  }
}

TEST(SearchIndex, KeepsToTheEdgesOfCharacters) {
  const auto dictionary = SyncInfoDictionary::dictionary();
  const auto record = QFContactSyncInfo::initWithContactId("1");
  dictionary->setObject(record, "1");
  SearchIndex index;
  const auto finds = [&](const char* text, const char* query) {
    record->setMatchString(text);
    return index.snapshot(dictionary)->search({query}, SearchText::Match, {}).total == 1;
  };
  using Pairs = std::vector<std::array<const char*, 2>>;
  const Pairs found = {{"Straße", "strasse"}, {"STRASSE", "straße"},
                       {"\uFB01nn", "fi"},    {"é", "E\u0301"},
                       {"e\u0301", "é"},      {"xe\u0323\u0301", "XE\u0301\u0323"}};
  const Pairs missed = {{"é", "e"},       {"e\u0301", "e"},  {"e", "é"},     {"Straße", "as"},
                        {"Straße", "se"}, {"\uFB01nn", "f"}, {"한글", "하"}, {"", "e"}};
  for (const auto& [text, query] : found)
    EXPECT_TRUE(finds(text, query)) << text << " " << query;
  for (const auto& [text, query] : missed)
    EXPECT_FALSE(finds(text, query)) << text << " " << query;
  EXPECT_TRUE(finds("é e", "e")) << "a later place is looked at as well";
  std::string accents;
  for (int i = 0; i < 300'000; ++i)
    accents += "é";
  EXPECT_FALSE(finds(accents.c_str(), "e")) << "and no number of places is too many";
}

TEST(SearchIndex, SharesWhatAChangeDoesNotTouch) {
  const auto dictionary = SyncInfoDictionary::dictionary();
  Book(1).fill(*dictionary, 9000);
  const auto record = QFContactSyncInfo::initWithContactId("new");
  dictionary->setObject(record, "new");
  SearchIndex index(256);
  const auto before = index.snapshot(dictionary);
  EXPECT_EQ(index.snapshot(dictionary), before);
  record->setMatchString("needle");
  const auto after = index.snapshot(dictionary);
  const std::set<std::shared_ptr<const SearchChunk>> old(before->chunks().begin(),
                                                         before->chunks().end());
  const auto shared = std::count_if(after->chunks().begin(), after->chunks().end(),
                                    [&](const auto& chunk) { return old.contains(chunk); });
  EXPECT_GE(shared + 2, std::ssize(after->chunks()));
  // A snapshot that somebody still reads stays as it was.
  const auto total = [](const auto& each) {
    return each->search({"needle"}, SearchText::Match, {}).total;
  };
  EXPECT_EQ(total(after), total(before) + 1);
}

TEST(BytePattern, FindsTheFirstOccurrenceInEachRun) {
  std::mt19937 random(3);
  for (int i = 0; i < 20000; ++i) {
    std::string text(1 + random() % 300, 'a');
    for (char& c : text)
      c = static_cast<char>("aaabbb\x80|"[random() % 8]);
    const std::string pattern(i % 3 == 0 ? 1 : 1 + random() % 5, "ab"[i % 2]);
    std::vector<std::uint32_t> ends;
    std::vector<std::pair<std::size_t, std::size_t>> expected, actual;
    for (std::size_t begin = 0; begin <= text.size(); begin = ends.back() + 1) {
      const std::size_t end = std::min(text.find('|', begin), text.size());
      const std::size_t at = text.substr(0, end).find(pattern, begin);
      if (at != std::string::npos) expected.emplace_back(ends.size(), at);
      ends.push_back(static_cast<std::uint32_t>(end));
    }
    ByteCounts counts;
    if (i % 2 == 0) counts.add(text);
    std::vector<BytePattern::Found> found(1 + random() % 60);
    found.resize(BytePattern(pattern, counts).findInRuns(text, ends, 0, 0, found));
    for (const auto& each : found)
      actual.emplace_back(each.run, each.position);
    if (found.size() < expected.size()) expected.resize(std::max<std::size_t>(found.size(), 1));
    ASSERT_EQ(actual, expected) << text << " " << pattern;
  }
}

}  // namespace
}  // namespace quillfold::testing
