#include "adapters/vcard/book/book_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <system_error>

#include "foundation/format.h"

namespace quillfold {

namespace {

constexpr std::uint64_t kMaximumFileSize = std::uint64_t{512} << 20;

FileStamp stampOf(const struct stat& status) {
  return {status.st_mtim.tv_sec, status.st_mtim.tv_nsec, static_cast<std::uint64_t>(status.st_size),
          status.st_ino};
}

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

// Closes a file descriptor at the end of its scope.
class OpenFile {
 public:
  explicit OpenFile(const std::string& path)
      : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
  ~OpenFile() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  int descriptor() const { return descriptor_; }

 private:
  const int descriptor_;
};

class BookLister {
 public:
  explicit BookLister(const std::function<void(const std::string&)>& onFolder)
      : onFolder_(onFolder) {}

  BookListing list(const std::string& path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) {
      fail(path, errno);
    } else if (S_ISDIR(status.st_mode)) {
      folders_.push_back({path, ""});
    } else if (S_ISREG(status.st_mode)) {
      listing_.files.push_back({path, "", stampOf(status)});
    } else {
      listing_.failure = fmt::format("{}: neither a file nor a folder", path);
    }
    while (!folders_.empty()) {
      const Folder folder = std::move(folders_.back());
      folders_.pop_back();
      listFolder(folder);
    }
    std::sort(listing_.files.begin(), listing_.files.end(),
              [](const BookFile& a, const BookFile& b) { return a.path < b.path; });
    return std::move(listing_);
  }

 private:
  struct Folder {
    std::string path;
    std::string name;  // Below the book.
  };

  void listFolder(const Folder& folder) {
    if (onFolder_) onFolder_(folder.path);
    const std::unique_ptr<DIR, CloseFolder> stream(opendir(folder.path.c_str()));
    if (!stream) return fail(folder.path, errno);
    for (;;) {
      errno = 0;
      const dirent* entry = readdir(stream.get());
      if (!entry) break;
      if (!isHiddenName(entry->d_name)) listEntry(folder, dirfd(stream.get()), entry->d_name);
    }
    if (errno != 0) fail(folder.path, errno);
  }

  void listEntry(const Folder& folder, int descriptor, const std::string& name) {
    const std::string path = folder.path + '/' + name;
    struct stat status;
    if (fstatat(descriptor, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
      return fail(path, errno);
    }
    if (S_ISDIR(status.st_mode)) {
      folders_.push_back({path, folder.name.empty() ? name : folder.name + '/' + name});
      return;
    }
    if (!isCardFileName(name)) return;
    if (S_ISLNK(status.st_mode) && fstatat(descriptor, name.c_str(), &status, 0) != 0) {
      return fail(path, errno);
    }
    if (S_ISREG(status.st_mode)) listing_.files.push_back({path, folder.name, stampOf(status)});
  }

  // What went away in the meantime, was never there, or leads in a circle is no
  // failure: nothing that was in the book is missing then.
  void fail(const std::string& path, int error) {
    if (error == ENOENT || error == ENOTDIR || error == ELOOP || !listing_.failure.empty()) return;
    listing_.failure = failureText(path, error);
  }

  const std::function<void(const std::string&)>& onFolder_;
  std::vector<Folder> folders_;
  BookListing listing_;
};

// Reads to the end, which may have moved since the size was asked.
int readAll(int descriptor, std::string& bytes) {
  std::size_t used = 0;
  for (;;) {
    if (used == bytes.size()) bytes.resize(bytes.size() + (std::size_t{64} << 10));
    const ssize_t count = read(descriptor, bytes.data() + used, bytes.size() - used);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    used += static_cast<std::size_t>(count);
    if (used > kMaximumFileSize) return EFBIG;
    if (count == 0) break;
  }
  bytes.resize(used);
  return 0;
}

}  // namespace

BookListing listBook(const std::string& path,
                     const std::function<void(const std::string& folder)>& onFolder) {
  return BookLister(onFolder).list(path);
}

bool isHiddenName(std::string_view name) {
  return name.starts_with('.');
}

bool isCardFileName(std::string_view name) {
  constexpr std::string_view kExtension = ".vcf";
  if (isHiddenName(name) || name.size() <= kExtension.size()) return false;
  const std::string_view end = name.substr(name.size() - kExtension.size());
  return std::equal(end.begin(), end.end(), kExtension.begin(), [](char a, char b) {
    return a == b || (a >= 'A' && a <= 'Z' && a - 'A' + 'a' == b);
  });
}

FileContents readBookFile(const std::string& path) {
  FileContents contents;
  const OpenFile file(path);
  struct stat status;
  if (file.descriptor() < 0 || fstat(file.descriptor(), &status) != 0) {
    contents.error = errno;
    return contents;
  }
  contents.stamp = stampOf(status);
  if (contents.stamp.size > kMaximumFileSize) {
    contents.error = EFBIG;
    return contents;
  }
  contents.bytes.resize(contents.stamp.size + 1);
  contents.error = readAll(file.descriptor(), contents.bytes);
  return contents;
}

std::string failureText(const std::string& path, int error) {
  return fmt::format("{}: {}", path, std::generic_category().message(error));
}

}  // namespace quillfold
