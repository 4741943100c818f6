// What the snapshot finds, beside a plain walk over the bookkeeping.
#include "search/search_index.h"

#include <gtest/gtest.h>
#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include <random>
#include <thread>

#include "core/contact_service.h"
#include "platform/text.h"
#include "tests/support/fake_platform.h"

namespace quillfold::testing {
namespace {

icu::UnicodeString normalized(const icu::UnicodeString& text, const icu::Normalizer2* form) {
  UErrorCode status = U_ZERO_ERROR;
  return form->normalize(text, status);
}

const icu::Normalizer2* nfc() {
  UErrorCode status = U_ZERO_ERROR;
  return icu::Normalizer2::getNFCInstance(status);
}
const icu::Normalizer2* nfd() {
  UErrorCode status = U_ZERO_ERROR;
  return icu::Normalizer2::getNFDInstance(status);
}

icu::UnicodeString caseless(const icu::UnicodeString& text) {
  return normalized(normalized(text, nfd()).foldCase(), nfd());
}

// Whether some run of whole characters, each with its combining marks, equals the
// query regardless of case.
bool plainlyContains(const OptionalString& text, const std::string& query) {
  if (!text) return true;
  const auto wanted = caseless(icu::UnicodeString::fromUTF8(query));
  const auto composed = normalized(icu::UnicodeString::fromUTF8(*text), nfc());
  std::vector<icu::UnicodeString> characters;
  for (int i = 0; i < composed.length(); i = composed.moveIndex32(i, 1)) {
    const UChar32 each = composed.char32At(i);
    if (characters.empty() || (U_GET_GC_MASK(each) & U_GC_M_MASK) == 0) characters.emplace_back();
    characters.back().append(each);
  }
  for (std::size_t begin = 0; begin < characters.size(); ++begin) {
    icu::UnicodeString run;
    for (std::size_t end = begin; end < characters.size() && run.length() <= wanted.length();
         ++end) {
      run += characters[end];
      if (caseless(run) == wanted) return true;
    }
  }
  return false;
}

const std::vector<std::string> kWords = {"Ann",
                                         "Lee",
                                         "lee",
                                         "Straße",
                                         "STRASSE",
                                         "Élodie",
                                         "E\u0301lodie",
                                         "\uFB01nn",
                                         "Finn",
                                         "ΟΔΟΣ",
                                         "οδος",
                                         "\u1FB3",
                                         "αι",
                                         "İz",
                                         "i\u0307z",
                                         "한글",
                                         "하",
                                         "กิน",
                                         "กน",
                                         "हिन्दी",
                                         "हन",
                                         "Иван",
                                         "Й",
                                         "и\u0306",
                                         "漢字",
                                         "\u212B",
                                         "A\u030A\u0323",
                                         "\u1EA0\u030A",
                                         "ŉ",
                                         "ʼn",
                                         "😀x",
                                         "15550100199",
                                         "a@b.de",
                                         "aaaab",
                                         "\u1112\u1161\u11AB",
                                         "\xFFx"};

class Book {
 public:
  explicit Book(unsigned seed) : random_(seed) {}

  std::size_t below(std::size_t limit) { return random_() % limit; }
  const std::string& word() { return kWords[below(kWords.size())]; }
  OptionalString text() {
    std::string out = below(8) == 0 ? "" : word();
    for (std::size_t i = below(4); i > 0; --i)
      out += (below(4) == 0 ? "" : " ") + word();
    return below(20) == 0 ? OptionalString() : out;
  }
  // A piece of a text, in another case or form now and then.
  std::string query() {
    auto units = icu::UnicodeString::fromUTF8(text().value_or("e"));
    if (below(2) == 0) units = normalized(units, below(2) == 0 ? nfd() : nfc());
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
    switch (below(9)) {
      case 0:
        record->setIsDeleted(!record->isDeleted());
        break;
      case 1:
        record->setContactId(key());
        break;
      case 2:
        dictionary.removeObjectForKey(record->contactId().value_or(""));
        break;
      case 3:
        dictionary.setObject(QFContactSyncInfo::initWithContactId("new"), key());
        break;
      case 4:
        record->setDisplayNameForSort(text());
        break;
      default:
        dictionary.setObject(record, *record->contactId());
    }
  }

  std::mt19937 random_;
};

using Rows = std::vector<std::pair<OptionalString, OptionalString>>;

Rows rowsOf(const std::vector<QFContactSyncInfoPtr>& records) {
  Rows rows;
  for (const auto& record : records)
    rows.emplace_back(record->displayNameForSort(), record->contactId());
  return rows;
}

// Compares every way to ask with the plain algorithm over activeSyncInfo.
void expectPlainAnswers(QFContactService& service, Book& book) {
  const auto active = service.activeSyncInfo();
  const auto snapshot = SearchIndex::shared().snapshot(service.syncInfoCache());
  EXPECT_EQ(rowsOf(snapshot->list({}).window), rowsOf(active));
  for (int i = 0; i < 6; ++i) {
    const std::vector<std::string> tokens =
        i % 2 == 0 ? std::vector{book.query()} : std::vector{book.query(), book.query()};
    for (const SearchText in : {SearchText::Match, SearchText::Name}) {
      std::vector<QFContactSyncInfoPtr> hits;
      for (const auto& record : active) {
        const auto text =
            in == SearchText::Name ? record->displayNameForSort() : record->matchString();
        if (std::all_of(tokens.begin(), tokens.end(),
                        [&](const auto& token) { return plainlyContains(text, token); })) {
          hits.push_back(record);
        }
      }
      const Rows expected = rowsOf(hits);
      const SearchHits found = snapshot->search(tokens, in, {});
      ASSERT_EQ(rowsOf(found.window), expected) << tokens[0] << "|" << tokens.back();
      EXPECT_EQ(found.total, std::ssize(expected));
      const auto page = rowsOf(snapshot->search(tokens, in, {1, 3}).window);
      EXPECT_EQ(page, Rows(expected.begin() + std::min<std::ptrdiff_t>(1, std::ssize(expected)),
                           expected.begin() + std::min<std::ptrdiff_t>(3, std::ssize(expected))));
      if (tokens.size() == 1 && in == SearchText::Match) {
        const auto first = rowsOf(snapshot->searchFirst(tokens[0], 5).window);
        EXPECT_EQ(first, Rows(expected.begin(), expected.begin() + std::min<std::ptrdiff_t>(
                                                                       5, std::ssize(expected))));
      }
    }
  }
}

TEST(SearchIndex, FindsWhatThePlainAlgorithmFindsAfterAnyEdit) {
  FakePlatform platform;
  const auto service = QFContactService::sharedInstance();
  for (unsigned seed = 1; seed <= 8; ++seed) {
    Book book(seed);
    const auto cache = SyncInfoDictionary::dictionary();
    service->setSyncInfoCache(cache);
    book.fill(*cache, seed % 2 == 0 ? 40 : 700);
    for (int round = 0; round < 25; ++round) {
      SCOPED_TRACE(::testing::Message() << "seed " << seed << " round " << round);
      expectPlainAnswers(*service, book);
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
  for (const auto& [text, query] :
       std::vector<std::pair<const char*, const char*>>{{"Straße", "strasse"},
                                                        {"STRASSE", "straße"},
                                                        {"\uFB01nn", "fi"},
                                                        {"é", "E\u0301"},
                                                        {"e\u0301", "é"},
                                                        {"xe\u0323\u0301", "XE\u0301\u0323"},
                                                        {"한글", "\u1112\u1161\u11AB"}}) {
    EXPECT_TRUE(finds(text, query)) << text << " " << query;
  }
  for (const auto& [text, query] :
       std::vector<std::pair<const char*, const char*>>{{"é", "e"},
                                                        {"e\u0301", "e"},
                                                        {"e", "é"},
                                                        {"Straße", "as"},
                                                        {"Straße", "se"},
                                                        {"\uFB01nn", "f"},
                                                        {"한글", "하"},
                                                        {"e\u0301", "\u0301"},
                                                        {"", "e"}}) {
    EXPECT_FALSE(finds(text, query)) << text << " " << query;
  }
  EXPECT_TRUE(finds("é e", "e")) << "a later place is looked at as well";
}

TEST(SearchIndex, SharesWhatAChangeDoesNotTouch) {
  const auto dictionary = SyncInfoDictionary::dictionary();
  Book(1).fill(*dictionary, 9000);
  const auto record = QFContactSyncInfo::initWithContactId("new");
  dictionary->setObject(record, "new");
  SearchIndex index;
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

TEST(SearchIndex, MayBeSearchedWhileRecordsAreSaved) {
  FakePlatform platform;
  const auto service = QFContactService::sharedInstance();
  std::vector<QFContactSyncInfoPtr> records;
  for (int i = 0; i < 300; ++i)
    records.push_back(service->syncInfoForContactId("id" + std::to_string(i)));
  std::atomic<bool> stop = false;
  std::jthread searcher([&] {
    while (!stop)
      SearchIndex::shared()
          .snapshot(service->syncInfoCache())
          ->search({"a"}, SearchText::Match, {});
  });
  Book book(7);
  for (int i = 0; i < 400; ++i) {
    const auto& record = records[book.below(records.size())];
    record->setDisplayNameForSort(book.word());
    record->setContactId("id" + std::to_string(book.below(1000)));
    record->setMatchString(book.text());
    if (i % 50 == 0) service->saveSyncInfoCache();
  }
  stop = true;
  searcher.join();
  expectPlainAnswers(*service, book);
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
