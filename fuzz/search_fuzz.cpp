// Edits of the bookkeeping and searches among them, one a line, beside the plain algorithm.
//
//   KEY=NAME=MATCH   sets the texts of a record; what is not there is absent
//   -KEY             removes a record
//   !KEY             deletes it, or takes that back
//   ?WORD            searches
#include <algorithm>

#include "foundation/text.h"
#include "fuzz/subject.h"
#include "search/search_index.h"
#include "tests/support/plain_search.h"

namespace quillfold::fuzz::search {
namespace {

// The plain algorithm takes long for long texts.
constexpr std::size_t kLongestText = 50;
constexpr int kMostLines = 30;

// By name, absent ones first, then by identifier.
bool goesFirst(const QFContactSyncInfoPtr& a, const QFContactSyncInfoPtr& b) {
  const OptionalString left = a->displayNameForSort();
  const OptionalString right = b->displayNameForSort();
  if (left.has_value() != right.has_value()) return !left;
  const int order = left ? text::compare(*left, *right) : 0;
  return order != 0 ? order < 0 : a->contactId() < b->contactId();
}

using testing::Rows;
using testing::rowsOf;

class Book {
 public:
  // Enough records for a change to be a small one.
  Book() {
    for (const std::string name : {"Ann", "Zoe", "\u00C9lodie", "Stra\u00DFe", "", "\uFB01nn"}) {
      for (int i = 0; i < 3; ++i)
        set("b" + name + std::to_string(i), name, name + " 15" + std::to_string(i));
    }
  }

  void apply(std::string_view line) {
    const auto [first, rest] = split(line);
    const std::string key(first.substr(std::min<std::size_t>(first.size(), 1)));
    if (line.starts_with('?')) return search(std::string(line.substr(1)));
    if (line.starts_with('-')) return dictionary_->removeObjectForKey(key);
    const auto record = dictionary_->objectForKey(key);
    if (line.starts_with('!')) return record ? record->setIsDeleted(!record->isDeleted()) : void();
    const auto [name, match] = rest ? split(*rest) : std::pair(std::string_view(), rest);
    set(std::string(first), rest ? OptionalString(name) : std::nullopt,
        match ? OptionalString(*match) : std::nullopt);
  }

 private:
  using Part = std::optional<std::string_view>;

  static std::pair<std::string_view, Part> split(std::string_view line) {
    const std::size_t at = line.find('=');
    if (at == line.npos) return {line, std::nullopt};
    return {line.substr(0, at), line.substr(at + 1)};
  }

  void set(const std::string& key, const OptionalString& name, const OptionalString& match) {
    const auto record =
        dictionary_->findOrAdd(key, [&] { return QFContactSyncInfo::initWithContactId(key); });
    record->setDisplayNameForSort(name);
    record->setMatchString(match);
  }

  void search(const std::string& query) {
    auto active = dictionary_->allValues();
    std::erase_if(active, [](const auto& record) { return record->isDeleted(); });
    std::sort(active.begin(), active.end(), goesFirst);
    const auto snapshot = index_.snapshot(dictionary_);
    require(rowsOf(snapshot->list({}).window) == rowsOf(active));
    const auto tokens = text::wordsOf(text::lowercaseString(query));
    if (tokens.empty()) return;
    for (const SearchText in : {SearchText::Match, SearchText::Name}) {
      auto hits = active;
      std::erase_if(hits, [&](const auto& record) {
        const auto text =
            in == SearchText::Name ? record->displayNameForSort() : record->matchString();
        return !std::all_of(tokens.begin(), tokens.end(), [&](const auto& token) {
          return testing::plainlyContains(text, token);
        });
      });
      checkHits(*snapshot, tokens, in, rowsOf(hits));
    }
  }

  static void checkHits(const SearchSnapshot& snapshot, const std::vector<std::string>& tokens,
                        SearchText in, Rows hits) {
    const SearchHits found = snapshot.search(tokens, in, {});
    require(rowsOf(found.window) == hits && found.total == std::ssize(hits));
    if (tokens.size() > 1 || in != SearchText::Match) return;
    hits.resize(std::min<std::size_t>(hits.size(), 5));
    require(rowsOf(snapshot.searchFirst(tokens.front(), 5).window) == hits);
  }

  const std::shared_ptr<SyncInfoDictionary> dictionary_ = SyncInfoDictionary::dictionary();
  SearchIndex index_{8};
};

void run(std::string_view bytes) {
  Book book;
  for (int i = 0; i < kMostLines && !bytes.empty(); ++i) {
    const std::size_t end = std::min(bytes.find('\n'), bytes.size());
    book.apply(bytes.substr(0, std::min(end, kLongestText)));
    bytes.remove_prefix(std::min(end + 1, bytes.size()));
  }
}

const Subject subject("search", run);

}  // namespace
}  // namespace quillfold::fuzz::search
