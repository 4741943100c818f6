#include "adapters/vcard/book/address_book.h"

#include <cerrno>
#include <chrono>
#include <numeric>

#include "adapters/vcard/book/contacts_error.h"
#include "foundation/format.h"
#include "platform/platform.h"

namespace quillfold {

namespace {

// How many problems of one kind are logged one by one.
constexpr std::size_t kMaximumReports = 20;

// File times move in steps of some milliseconds: two changes within one step leave the
// same stamp if they leave the same size.
bool isSettled(const FileStamp& stamp) {
  using namespace std::chrono;
  const nanoseconds changed = seconds(stamp.seconds) + nanoseconds(stamp.nanoseconds);
  const nanoseconds age = system_clock::now().time_since_epoch() - changed;
  return age < nanoseconds(0) || age > milliseconds(50);
}

std::string containerOf(const BookFile& file) {
  if (file.folder.empty()) return kDefaultContainer;
  // A folder of that name must not pass for the book itself.
  return file.folder == kDefaultContainer ? file.folder + '/' : file.folder;
}

std::string problemLine(const std::string& path, const VCardProblem& problem) {
  if (problem.card == 0) return fmt::format("{}, line {}: {}", path, problem.line, problem.reason);
  return fmt::format("{}, card {}, line {}: {}", path, problem.card, problem.line, problem.reason);
}

// The lines for the log, the last one standing for those that are too many.
class ProblemLines {
 public:
  explicit ProblemLines(std::vector<std::string>& lines) : lines_(lines) {}
  void add(std::string line) {
    if (++count_ <= kMaximumReports) lines_.push_back(std::move(line));
  }
  void finish(const std::string& path) {
    if (count_ <= kMaximumReports) return;
    lines_.push_back(fmt::format("{}: {} more", path, count_ - kMaximumReports));
  }

 private:
  std::vector<std::string>& lines_;
  std::size_t count_ = 0;
};

// Gives each card of a book an identifier that no other one has. What a card gets in
// place of a taken one depends on its content only, so that it stays from run to run.
class DistinctIdentifiers {
 public:
  explicit DistinctIdentifiers(std::unordered_map<std::string, std::size_t>& taken)
      : taken_(taken) {}

  std::string take(const std::string& wanted, const std::string& fingerprint, std::size_t index) {
    if (taken_.emplace(wanted, index).second) return wanted;
    const std::string distinct = wanted + '-' + fingerprint;
    std::size_t& copies = copies_[distinct];
    std::string identifier;
    do {
      ++copies;
      identifier = copies == 1 ? distinct : fmt::format("{}-{}", distinct, copies);
    } while (!taken_.emplace(identifier, index).second);
    return identifier;
  }

 private:
  std::unordered_map<std::string, std::size_t>& taken_;
  std::unordered_map<std::string, std::size_t> copies_;
};

std::shared_ptr<const CNContactProperties> withIdentifier(CNContactProperties contact,
                                                          std::string identifier) {
  contact.identifier = std::move(identifier);
  return std::make_shared<const CNContactProperties>(std::move(contact));
}

}  // namespace

std::shared_ptr<const AddressBook::LoadedFile> AddressBook::parse(const std::string& path,
                                                                  const FileContents& contents) {
  const auto file = std::make_shared<LoadedFile>();
  file->stamp = contents.stamp;
  file->settled = isSettled(contents.stamp);
  ProblemLines problems(file->problems);
  parseVCards(
      contents.bytes,
      [&](VCard card) {
        file->cards.push_back({std::make_shared<const CNContactProperties>(std::move(card.contact)),
                               std::move(card.fingerprint)});
      },
      [&](const VCardProblem& problem) {
        problems.add(problemLine(path, problem));
        file->skipped += problem.cardLeftOut ? 1 : 0;
      });
  problems.finish(path);
  return file;
}

std::shared_ptr<const BookSnapshot> AddressBook::load(ErrorPtr* error) {
  Report report;
  std::shared_ptr<const BookSnapshot> snapshot;
  {
    const std::lock_guard lock(mutex_);
    snapshot = reload(report);
  }
  LogSink& log = *Platform::current().log;
  for (const std::string& line : report.lines) {
    if (!log.wants(LogLevel::Warning)) break;
    log.leveled(LogLevel::Warning, "com.quillfold", "AddressBook", line);
  }
  if (!snapshot && error) {
    *error = contactsError(CNErrorCodeDataAccessError,
                           fmt::format("The address book can't be read: {}", report.failure));
  }
  return snapshot;
}

std::int64_t AddressBook::skippedCards() {
  const std::lock_guard lock(mutex_);
  return std::accumulate(files_.begin(), files_.end(), std::int64_t{0},
                         [](auto sum, const auto& file) { return sum + file.second->skipped; });
}

std::shared_ptr<const BookSnapshot> AddressBook::reload(Report& report) {
  // A file that vanishes after it was listed may have got another name.
  constexpr int kAttempts = 5;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    BookListing listing = listBook(path_);
    report.failure = listing.failure;
    if (!listing.failure.empty()) return nullptr;
    const bool settled = std::all_of(files_.begin(), files_.end(),
                                     [](const auto& file) { return file.second->settled; });
    if (snapshot_ && settled && listing == listing_) return snapshot_;
    if (!loadFiles(listing, report)) continue;
    snapshot_ = assemble(listing, report);
    listing_ = std::move(listing);
    return snapshot_;
  }
  return nullptr;
}

bool AddressBook::loadFiles(const BookListing& listing, Report& report) {
  LoadedFiles loaded;
  bool complete = true;
  for (const BookFile& file : listing.files) {
    const auto known = files_.find(file.path);
    if (known != files_.end() && known->second->settled && known->second->stamp == file.stamp) {
      loaded.insert(*known);
      continue;
    }
    const FileContents contents = readBookFile(file.path);
    if (contents.error != 0) {
      report.failure = failureText(file.path, contents.error);
      complete = false;
      continue;
    }
    const auto parsed = parse(file.path, contents);
    if (known == files_.end() || known->second->problems != parsed->problems) {
      report.lines.insert(report.lines.end(), parsed->problems.begin(), parsed->problems.end());
    }
    loaded.emplace(file.path, parsed);
  }
  files_ = std::move(loaded);
  return complete;
}

std::shared_ptr<const BookSnapshot> AddressBook::assemble(const BookListing& listing,
                                                          Report& report) {
  const auto snapshot = std::make_shared<BookSnapshot>();
  DistinctIdentifiers identifiers(snapshot->indexes);
  std::set<std::string> duplicates;
  ProblemLines lines(report.lines);
  for (const BookFile& file : listing.files) {
    const std::string container = containerOf(file);
    for (const Card& card : files_.at(file.path)->cards) {
      std::string identifier =
          identifiers.take(card.contact->identifier, card.fingerprint, snapshot->entries.size());
      std::shared_ptr<const CNContactProperties> contact = card.contact;
      if (identifier != contact->identifier) {
        contact = withIdentifier(*contact, identifier);
        if (!duplicates_.contains(identifier)) {
          lines.add(fmt::format("{}: another card has the identifier {}, this one becomes {}",
                                file.path, card.contact->identifier, identifier));
        }
        duplicates.insert(std::move(identifier));
      }
      snapshot->entries.push_back({std::move(contact), container});
    }
  }
  lines.finish(path_);
  duplicates_ = std::move(duplicates);
  return snapshot;
}

}  // namespace quillfold
