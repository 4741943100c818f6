// The files of an address book.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quillfold {

// Tells one state of a file or folder from the next. Times are nanoseconds since 1970.
struct FileStamp {
  std::int64_t modified = 0;
  std::int64_t changed = 0;  // Moves with every change and can't be set back.
  std::uint64_t size = 0;
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  friend bool operator==(const FileStamp&, const FileStamp&) = default;

  // Whether a further change is sure to change the stamp: file times move in steps, of
  // some milliseconds on most file systems and of two seconds on the coarsest. Holds where
  // the clock that sets them agrees with ours to within a second.
  bool isSettled() const;
};

struct BookFile {
  std::string path;
  std::string folder;  // Below the book; "" for the book's own files.
  FileStamp stamp;
  // Moves with every write that the system has told of, even where the stamp does not:
  // through a memory mapping, or twice in one step of the file's clock.
  std::uint64_t lastWrite = 0;
  friend bool operator==(const BookFile&, const BookFile&) = default;
};

// The files in the byte order of their paths. A failure is a text for people; the files
// are then those that could be listed.
struct BookListing {
  std::vector<BookFile> files;
  std::string failure;
  bool isThere = true;
  friend bool operator==(const BookListing&, const BookListing&) = default;
};

// A file's contents and the stamp that it had before they were read.
struct FileContents {
  std::string bytes;
  FileStamp stamp;
  bool settled = false;  // Whether the stamp was, at that moment.
  std::string failure;   // A text for people; empty if it was read.
};

// Where an address book finds its files. Any thread, one at a time; never calls back.
class BookFiles {
 public:
  virtual ~BookFiles() = default;

  // What is asked from here on, until the next call of this, is for one fetch.
  virtual void begin() {}

  // The files that there are now. Nothing at the book's path is an empty book.
  virtual BookListing list() = 0;

  // Whether the last listing still holds and none of its files has been written to since
  // it was made. Much cheaper than a listing.
  virtual bool holds() = 0;

  virtual FileContents read(const std::string& path) = 0;

  // Whether a later listing may have a file as it was when it was read last, though it
  // can't be read now, or is not even listed.
  virtual bool mayReturn(const std::string&) const { return false; }
};

}  // namespace quillfold
