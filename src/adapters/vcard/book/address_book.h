// The cards of an address book, kept in memory and read anew where they change.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "adapters/vcard/book/book_files.h"
#include "adapters/vcard/vcard.h"
#include "platform/contacts.h"

namespace quillfold {

// One state of the book, immutable.
struct BookSnapshot {
  struct Entry {
    std::shared_ptr<const CNContactProperties> contact;
    std::shared_ptr<const std::string> container;  // Shared by those of one file.
  };
  std::vector<Entry> entries;
  std::unordered_map<std::string, std::size_t> indexes;  // By identifier.
};

inline constexpr const char* kDefaultContainer = "default";

// Safe to use from any thread.
class AddressBook {
 public:
  // The path is for messages.
  AddressBook(std::string path, std::shared_ptr<BookFiles> files)
      : path_(std::move(path)), source_(std::move(files)) {}

  // The book as it is on the disk now. Absent, with the error set, if a part of it can't
  // be read. What is left out of a file is told to the log when that changes.
  std::shared_ptr<const BookSnapshot> load(ErrorPtr* error);
  // The cards that the last load which gave a book has left out. Never waits for one.
  std::int64_t skippedCards() const { return skipped_; }

 private:
  struct LoadedFile {
    FileStamp stamp;
    std::uint64_t lastWrite = 0;  // As listed before it was read.
    bool settled = false;
    std::vector<std::shared_ptr<const CNContactProperties>> contacts;
    std::vector<std::string> fingerprints;  // Of the cards, once they were needed.
    std::vector<std::string> problems;
    std::int64_t skipped = 0;

    // Whether it is sure to be what the file still holds.
    bool isOf(const BookFile& file) const {
      return settled && stamp == file.stamp && lastWrite == file.lastWrite;
    }
  };
  using LoadedFiles = std::map<std::string, std::shared_ptr<LoadedFile>>;
  // What is logged and reported once the lock is free.
  struct Report {
    std::vector<std::string> lines;
    std::string failure;
  };

  static std::shared_ptr<LoadedFile> parse(const BookFile& listed, const FileContents& contents);
  std::shared_ptr<const BookSnapshot> reload(Report& report);
  // Reads the files that have changed. Returns false if one vanished or can't be read.
  bool loadFiles(const BookListing& listing, Report& report);
  // Absent if a file has changed since it was loaded.
  std::shared_ptr<const BookSnapshot> assemble(const BookListing& listing, Report& report);
  bool readFingerprints(const std::string& path, LoadedFile& file);

  const std::string path_;
  const std::shared_ptr<BookFiles> source_;
  std::atomic<std::int64_t> skipped_ = 0;
  std::mutex mutex_;
  LoadedFiles files_;
  BookListing listing_;
  std::shared_ptr<const BookSnapshot> snapshot_;
  std::set<std::string> duplicates_;  // Those that the log has been told.
};

}  // namespace quillfold
