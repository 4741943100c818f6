#include "adapters/vcard/book/address_book.h"

#include <algorithm>
#include <utility>

#include "adapters/vcard/book/contacts_error.h"
#include "foundation/format.h"
#include "platform/platform.h"

namespace quillfold {

namespace {

// How many problems of one kind are logged one by one.
constexpr std::size_t kMaximumReports = 20;

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

  bool take(const std::string& wanted, std::size_t index) {
    return taken_.emplace(wanted, index).second;
  }
  std::string takeAnother(const std::string& wanted, const std::string& fingerprint,
                          std::size_t index) {
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

std::shared_ptr<AddressBook::LoadedFile> AddressBook::parse(const BookFile& listed,
                                                            const FileContents& contents) {
  const auto file = std::make_shared<LoadedFile>();
  file->stamp = contents.stamp;
  file->lastWrite = listed.lastWrite;
  file->settled = contents.settled;
  ProblemLines problems(file->problems);
  parseVCards(
      contents.bytes,
      [&](VCard&& card) {
        file->contacts.push_back(
            std::make_shared<const CNContactProperties>(std::move(card.contact)));
      },
      [&](const VCardProblem& problem) {
        problems.add(problemLine(listed.path, problem));
        file->skipped += problem.cardLeftOut ? 1 : 0;
      });
  problems.finish(listed.path);
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

std::shared_ptr<const BookSnapshot> AddressBook::reload(Report& report) {
  if (snapshot_ && source_->holds()) return snapshot_;
  // Without one the next call has to look again, however this one ends.
  auto last = std::exchange(snapshot_, nullptr);
  source_->begin();
  // A file that vanishes after it was listed may have got another name.
  constexpr int kAttempts = 5;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    BookListing listing = source_->list();
    report.failure = listing.failure;
    if (!listing.failure.empty()) break;
    const bool settled = std::all_of(files_.begin(), files_.end(),
                                     [](const auto& file) { return file.second->settled; });
    if (last && settled && listing == listing_) return snapshot_ = last;
    last = nullptr;
    if (!listing.isThere && listing_.isThere) {
      report.lines.push_back(path_ + ": there is no such address book, so it counts as empty");
    }
    if (!loadFiles(listing, report)) continue;
    snapshot_ = assemble(listing, report);
    report.failure = fmt::format("{}: it changes all the time", path_);
    if (!snapshot_) continue;
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
    if (known != files_.end() && known->second->isOf(file)) {
      loaded.insert(*known);
      continue;
    }
    const FileContents contents = source_->read(file.path);
    if (!contents.failure.empty()) {
      report.failure = contents.failure;
      complete = false;
      continue;
    }
    const auto parsed = parse(file, contents);
    if (known == files_.end() || known->second->problems != parsed->problems) {
      report.lines.insert(report.lines.end(), parsed->problems.begin(), parsed->problems.end());
    }
    loaded.emplace(file.path, parsed);
  }
  for (const auto& known : files_) {
    if (source_->mayReturn(known.first)) loaded.insert(known);
  }
  files_ = std::move(loaded);
  return complete;
}

std::shared_ptr<const BookSnapshot> AddressBook::assemble(const BookListing& listing,
                                                          Report& report) {
  const auto snapshot = std::make_shared<BookSnapshot>();
  DistinctIdentifiers identifiers(snapshot->indexes);
  std::set<std::string> duplicates;
  std::int64_t skipped = 0;
  ProblemLines lines(report.lines);
  for (const BookFile& file : listing.files) {
    const auto container = std::make_shared<const std::string>(containerOf(file));
    LoadedFile& loaded = *files_.at(file.path);
    skipped += loaded.skipped;
    for (std::size_t i = 0; i < loaded.contacts.size(); ++i) {
      std::shared_ptr<const CNContactProperties> contact = loaded.contacts[i];
      const std::size_t index = snapshot->entries.size();
      if (!identifiers.take(contact->identifier, index)) {
        if (!readFingerprints(file.path, loaded)) return nullptr;
        std::string identifier =
            identifiers.takeAnother(contact->identifier, loaded.fingerprints[i], index);
        if (!duplicates_.contains(identifier)) {
          lines.add(fmt::format("{}: another card has the identifier {}, this one becomes {}",
                                file.path, contact->identifier, identifier));
        }
        contact = withIdentifier(*contact, identifier);
        duplicates.insert(std::move(identifier));
      }
      snapshot->entries.push_back({std::move(contact), container});
    }
  }
  lines.finish(path_);
  duplicates_ = std::move(duplicates);
  skipped_ = skipped;
  return snapshot;
}

bool AddressBook::readFingerprints(const std::string& path, LoadedFile& file) {
  if (!file.fingerprints.empty()) return true;
  const FileContents contents = source_->read(path);
  if (!contents.failure.empty() || contents.stamp != file.stamp) return false;
  std::vector<std::string> fingerprints;
  parseVCards(
      contents.bytes, [&](VCard&& card) { fingerprints.push_back(card.fingerprint()); },
      [](const VCardProblem&) {});
  if (fingerprints.size() != file.contacts.size()) return false;
  file.fingerprints = std::move(fingerprints);
  return true;
}

}  // namespace quillfold
