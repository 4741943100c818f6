// The files of an address book.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace quillfold {

// Tells one state of a file from the next.
struct FileStamp {
  std::int64_t seconds = 0;
  std::int64_t nanoseconds = 0;
  std::uint64_t size = 0;
  std::uint64_t inode = 0;
  friend bool operator==(const FileStamp&, const FileStamp&) = default;
};

struct BookFile {
  std::string path;
  std::string folder;  // Below the book; "" for the book's own files.
  FileStamp stamp;
  friend bool operator==(const BookFile&, const BookFile&) = default;
};

// The files in the byte order of their paths. A failure is a text for people; the files
// are then those that could be listed.
struct BookListing {
  std::vector<BookFile> files;
  std::string failure;
  friend bool operator==(const BookListing&, const BookListing&) = default;
};

// Lists the file or the tree at the path; nothing there is an empty book. `onFolder` is
// called with the path of each folder before it is read.
BookListing listBook(const std::string& path,
                     const std::function<void(const std::string& folder)>& onFolder = {});

// Whether a name in a folder is one of the book's: not hidden, with the extension ".vcf".
bool isCardFileName(std::string_view name);
bool isHiddenName(std::string_view name);

// A file's contents and the stamp that it had before they were read.
struct FileContents {
  std::string bytes;
  FileStamp stamp;
  int error = 0;  // errno; 0 if it was read.
};
FileContents readBookFile(const std::string& path);

// A text for a failure with a path.
std::string failureText(const std::string& path, int error);

}  // namespace quillfold
