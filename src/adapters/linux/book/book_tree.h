// The folder tree of an address book, as it stands on the disk.
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "adapters/vcard/book/book_files.h"

namespace quillfold {

// Something that may change without an event, so that it has to be asked.
class Landmark {
 public:
  // A file or folder; absent where nothing is.
  Landmark(std::string path, std::optional<FileStamp> stamp)
      : path_(std::move(path)), stamp_(stamp), settled_(!stamp || stamp->isSettled()) {}

  // The same, of which only matters that it is the same and not what is in it.
  static Landmark place(std::string path, std::optional<FileStamp> stamp);

  // Whether it is sure to be as it was.
  bool stands() const;

 private:
  std::string path_;
  std::optional<FileStamp> stamp_;
  bool settled_ = false;
  bool placeOnly_ = false;
};

struct BookTree {
  BookListing listing;
  std::vector<Landmark> landmarks;
};

// Whether all changes of a folder can be seen by watching it.
using WatchFolder = std::function<bool(const std::string& folder)>;

// Lists what is at some places of a book: all of it at the book's own path, a file or a tree,
// or, where a tree has been read, what has come, gone or moved below it since. `watch` is
// called with each folder before it is read; the landmarks are all that it says no to, and
// links, whose files can be written from elsewhere. `watchedFrom` tells the same of the folder
// that the path is in.
void readBookTree(BookTree& tree, const std::string& book, const std::set<std::string>& places,
                  bool watchedFrom, const WatchFolder& watch);

FileContents readBookFile(const std::string& path);

// Absent where nothing is or can be asked.
std::optional<FileStamp> stampAt(const std::string& path);

// Whether a name in a folder is one of the book's: not hidden, with the extension ".vcf".
bool isCardFileName(std::string_view name);
bool isHiddenName(std::string_view name);

// A text for a failure with a path.
std::string failureText(const std::string& path, int error);

}  // namespace quillfold
