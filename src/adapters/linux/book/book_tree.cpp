#include "adapters/linux/book/book_tree.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <system_error>

#include "adapters/linux/file_descriptor.h"
#include "foundation/format.h"

namespace quillfold {

namespace {

constexpr std::uint64_t kMaximumFileSize = std::uint64_t{512} << 20;

std::int64_t nanoseconds(const timespec& time) {
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

FileStamp stampOf(const struct stat& status) {
  return {nanoseconds(status.st_mtim), nanoseconds(status.st_ctim),
          static_cast<std::uint64_t>(status.st_size), status.st_dev, status.st_ino};
}

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

class TreeReader {
 public:
  TreeReader(BookTree& tree, bool watchedFrom, const WatchFolder& watch)
      : tree_(tree), watchedFrom_(watchedFrom), watch_(watch) {}

  void read(const std::string& path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) {
      fail(path, errno);
      tree_.listing.isThere = false;
      if (!watchedFrom_) tree_.landmarks.push_back(Landmark::place(path, std::nullopt));
    } else if (S_ISDIR(status.st_mode)) {
      folders_.push_back({path, ""});
      if (!watchedFrom_) tree_.landmarks.push_back(Landmark::place(path, stampOf(status)));
    } else if (S_ISREG(status.st_mode)) {
      addFile(path, "", status, watchedFrom_);
    } else {
      tree_.listing.failure = fmt::format("{}: neither a file nor a folder", path);
    }
    finish();
  }

  // Lists what is at some places below the book in place of what was there.
  void readAgain(const std::string& book, const std::set<std::string>& places) {
    std::erase_if(tree_.listing.files,
                  [&](const BookFile& file) { return isBelow(file.path, places); });
    for (const std::string& path : places) {
      const std::size_t slash = path.rfind('/');
      const std::string folder = path.substr(0, slash);
      if (isBelow(folder, places)) continue;
      const std::string name = folder.substr(std::min(folder.size(), book.size() + 1));
      addEntry({folder, name}, AT_FDCWD, path, path.substr(slash + 1), watch_(folder));
    }
    finish();
  }

 private:
  struct Folder {
    std::string path;
    std::string name;  // Below the book.
  };

  // Whether the path is one of these or leads through one.
  static bool isBelow(std::string path, const std::set<std::string>& places) {
    while (!path.empty() && !places.contains(path))
      path.resize(std::min(path.rfind('/'), path.size() - 1));
    return !path.empty();
  }

  void finish() {
    while (!folders_.empty()) {
      const Folder folder = std::move(folders_.back());
      folders_.pop_back();
      readFolder(folder);
    }
    std::sort(tree_.listing.files.begin(), tree_.listing.files.end(),
              [](const BookFile& a, const BookFile& b) { return a.path < b.path; });
  }

  void readFolder(const Folder& folder) {
    const bool watched = watch_(folder.path);
    if (!watched) tree_.landmarks.emplace_back(folder.path, stampAt(folder.path));
    const std::unique_ptr<DIR, CloseFolder> stream(opendir(folder.path.c_str()));
    if (!stream) return fail(folder.path, errno);
    for (;;) {
      errno = 0;
      const dirent* entry = readdir(stream.get());
      if (!entry) break;
      if (!isHiddenName(entry->d_name)) {
        addEntry(folder, dirfd(stream.get()), entry->d_name, entry->d_name, watched);
      }
    }
    if (errno != 0) fail(folder.path, errno);
  }

  // The entry is `at` the descriptor.
  void addEntry(const Folder& folder, int descriptor, const std::string& at,
                const std::string& name, bool watched) {
    const std::string path = folder.path + '/' + name;
    struct stat status;
    if (fstatat(descriptor, at.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
      return fail(path, errno);
    }
    if (S_ISDIR(status.st_mode)) {
      folders_.push_back({path, folder.name.empty() ? name : folder.name + '/' + name});
      return;
    }
    if (!isCardFileName(name)) return;
    if (S_ISLNK(status.st_mode)) {
      watched = false;
      if (fstatat(descriptor, at.c_str(), &status, 0) != 0) {
        fail(path, errno);
        tree_.landmarks.emplace_back(path, std::nullopt);
        return;
      }
    }
    if (S_ISREG(status.st_mode)) {
      addFile(path, folder.name, status, watched);
    } else if (!watched) {
      tree_.landmarks.push_back(Landmark::place(path, stampOf(status)));
    }
  }

  void addFile(const std::string& path, const std::string& folder, const struct stat& status,
               bool watched) {
    const FileStamp stamp = stampOf(status);
    tree_.listing.files.push_back({path, folder, stamp});
    if (!watched || status.st_nlink > 1) tree_.landmarks.emplace_back(path, stamp);
  }

  // What went away in the meantime, was never there, or leads in a circle is no
  // failure: nothing that was in the book is missing then.
  void fail(const std::string& path, int error) {
    std::string& failure = tree_.listing.failure;
    if (error == ENOENT || error == ENOTDIR || error == ELOOP || !failure.empty()) return;
    failure = failureText(path, error);
  }

  BookTree& tree_;
  const bool watchedFrom_;
  const WatchFolder& watch_;
  std::vector<Folder> folders_;
};

// Reads to the end, which may have moved since the size was asked.
int readAll(int descriptor, std::string& bytes) {
  std::size_t used = 0;
  for (;;) {
    if (used == bytes.size()) bytes.resize(bytes.size() + (std::size_t{64} << 10));
    const ssize_t count =
        uninterrupted([&] { return ::read(descriptor, bytes.data() + used, bytes.size() - used); });
    if (count < 0) return errno;
    used += static_cast<std::size_t>(count);
    if (used > kMaximumFileSize) return EFBIG;
    if (count == 0) break;
  }
  bytes.resize(used);
  return 0;
}

}  // namespace

Landmark Landmark::place(std::string path, std::optional<FileStamp> stamp) {
  Landmark landmark(std::move(path), stamp);
  landmark.settled_ = landmark.placeOnly_ = true;
  return landmark;
}

bool Landmark::stands() const {
  const std::optional<FileStamp> now = stampAt(path_);
  if (!placeOnly_ || !now || !stamp_) return settled_ && now == stamp_;
  return now->device == stamp_->device && now->inode == stamp_->inode;
}

void readBookTree(BookTree& tree, const std::string& book, const std::set<std::string>& places,
                  bool watchedFrom, const WatchFolder& watch) {
  TreeReader reader(tree, watchedFrom, watch);
  if (places.contains(book)) {
    tree = {};
    reader.read(book);
  } else {
    reader.readAgain(book, places);
  }
}

FileContents readBookFile(const std::string& path) {
  FileContents contents;
  // Without waiting for the other end of what has become a pipe.
  const FileDescriptor file(path.c_str(), O_RDONLY | O_NONBLOCK);
  struct stat status;
  if (!file || fstat(file.get(), &status) != 0) {
    contents.failure = failureText(path, errno);
    return contents;
  }
  contents.stamp = stampOf(status);
  contents.settled = contents.stamp.isSettled();
  // What has become of it is found by the next listing.
  int error = S_ISREG(status.st_mode) ? EFBIG : ENOENT;
  if (error == EFBIG && contents.stamp.size <= kMaximumFileSize) {
    contents.bytes.resize(contents.stamp.size + 1);
    error = readAll(file.get(), contents.bytes);
  }
  if (error != 0) contents.failure = failureText(path, error);
  return contents;
}

std::optional<FileStamp> stampAt(const std::string& path) {
  struct stat status;
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return stampOf(status);
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

std::string failureText(const std::string& path, int error) {
  return fmt::format("{}: {}", path, std::generic_category().message(error));
}

}  // namespace quillfold
