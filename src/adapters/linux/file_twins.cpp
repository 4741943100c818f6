#include "adapters/linux/file_twins.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "adapters/linux/locked_file.h"
#include "adapters/linux/temporary_file.h"

namespace quillfold {

namespace {

// A file without these first bytes is no file of any format.
constexpr std::size_t kBeginning = 8;

std::array<std::string, 2> sparesOf(const std::string& path) {
  const std::size_t nameStart = path.rfind('/') + 1;  // 0 without a folder.
  const std::string spare = path.substr(0, nameStart) + "." + path.substr(nameStart) + ".spare";
  return {spare, spare + "1"};
}

// Keeps everybody else from opening the file: they wait until it ends. Not held if somebody
// else has the file open, or the file system knows no leases.
class WriteLease {
 public:
  // Who waits is announced by a signal, which is to be one that is ignored by default. The end
  // of a lease forgets which one.
  explicit WriteLease(int file)
      : file_(file),
        held_(::fcntl(file, F_SETSIG, SIGURG) == 0 && ::fcntl(file, F_SETLEASE, F_WRLCK) == 0) {}
  WriteLease(const WriteLease&) = delete;
  WriteLease& operator=(const WriteLease&) = delete;
  ~WriteLease() {
    if (held_) ::fcntl(file_, F_SETLEASE, F_UNLCK);
  }
  explicit operator bool() const { return held_; }

 private:
  const int file_;
  const bool held_;
};

// Keeps other writers from an open file of ours. Not held if one has it.
class WriterLock {
 public:
  explicit WriterLock(int file)
      : file_(file), held_(uninterrupted([&] { return ::flock(file, LOCK_EX | LOCK_NB); }) == 0) {}
  WriterLock(const WriterLock&) = delete;
  WriterLock& operator=(const WriterLock&) = delete;
  ~WriterLock() {
    if (held_) ::flock(file_, LOCK_UN);
  }
  explicit operator bool() const { return held_; }

 private:
  const int file_;
  const bool held_;
};

// Of the file itself that the name is of, and not through a link.
std::optional<struct stat> statusOf(const std::string& name) {
  struct stat status {};
  if (::lstat(name.c_str(), &status) != 0) return std::nullopt;
  return status;
}

bool isSame(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

bool isUntouched(const struct stat& now, const struct stat& then) {
  return isSame(now, then) && (now.st_mode & 07777) == kPrivateMode && now.st_nlink == 1 &&
         now.st_size == then.st_size && now.st_mtim.tv_sec == then.st_mtim.tv_sec &&
         now.st_mtim.tv_nsec == then.st_mtim.tv_nsec;
}

// In parts: what is written in one call may stay one piece in the kernel's cache, and a later
// write of a few bytes costs by the size of the piece that they are in.
bool writeAt(int file, std::string_view bytes, std::size_t offset) {
  constexpr std::size_t kLargestPart = 64 * 1024;
  while (!bytes.empty()) {
    const ssize_t written = uninterrupted([&] {
      return ::pwrite(file, bytes.data(), std::min(bytes.size(), kLargestPart),
                      static_cast<off_t>(offset));
    });
    if (written < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
    offset += static_cast<std::size_t>(written);
  }
  return true;
}

}  // namespace

bool exchangeNames(const std::string& one, const std::string& other) {
  return ::renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE) == 0;
}

FileDescriptor openedWhole(const std::string& path, int flags) {
  constexpr int kMostAttempts = 256;
  FileDescriptor file(path.c_str(), O_RDONLY | O_NONBLOCK | flags);
  for (int i = 0; !file && errno == EWOULDBLOCK && i < kMostAttempts; ++i)
    file = FileDescriptor(path.c_str(), O_RDONLY | O_NONBLOCK | flags);
  return file;
}

FileTwins::FileTwins(std::string path, NameExchange exchange)
    : path_(std::move(path)), spares_(sparesOf(path_)), exchange_(std::move(exchange)) {}

bool FileTwins::revise(const RevisedBytes& contents) {
  const std::lock_guard lock(mutex_);
  leaveToParent();
  unsynchronized_ = true;
  if (!plain_ && reviseSpare(contents)) return true;
  const std::string_view bytes = contents.bytes();
  TemporaryFile file;
  const auto kept = kept_;
  if (file.openBeside(path_) && file.write(&bytes, 1) &&
      (plain_ || keepInstead(file.descriptor(), path_)) && file.commit(path_)) {
    return true;
  }
  kept_ = kept;
  return false;
}

// A process that was forked shares the open files and their locks with its parent.
void FileTwins::leaveToParent() {
  if (std::exchange(process_, ::getpid()) != ::getpid()) twins_.clear();
}

bool FileTwins::reviseSpare(const RevisedBytes& contents) {
  for (const std::size_t number : {next_, 1 - next_}) {
    const std::string& name = spares_[number];
    const auto named = statusOf(name);
    if (named && isKept(*named)) continue;
    next_ = number;
    if (const auto twin = named ? twinOf(*named) : nullptr) {
      const WriterLock lock(openedTwin(*twin, name));
      if (!lock) continue;
      return update(*twin, name, contents) ? trade(name, twin->file.get())
                                           : replace(name, contents);
    }
    const LockedFile spare(name);
    // Where another process is at work the next one may be free. A link is written over.
    if (spare || errno == ENOENT || errno == ELOOP) return replace(name, contents);
  }
  return false;
}

int FileTwins::openedTwin(Twin& twin, const std::string& spare) {
  if (!twin.file) twin.file = FileDescriptor(spare.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK);
  return twin.file.get();
}

// Writes what the spare lacks. Returns false for one that is taken, or not as it was left, and
// where writing fails.
bool FileTwins::update(Twin& twin, const std::string& spare, const RevisedBytes& contents) {
  const int file = twin.file.get();
  const WriteLease lease(file);
  if (!lease) return false;
  // Now nobody gets at it any more.
  if (!isAsLeft(twin, spare)) return false;
  const auto changes = contents.changesSince(std::exchange(twin.revision, {}));
  if (!changes || !spoil(twin)) return false;
  for (const auto& [offset, size] : *changes) {
    if (!writeAt(file, contents.bytes().substr(offset, size), offset)) return false;
  }
  if (twin.disk == Twin::Disk::spoilt &&
      !writeAt(file, contents.bytes().substr(0, kBeginning), 0)) {
    return false;
  }
  // Somebody may have cleared the spares away meanwhile, and begun anew.
  const auto written = statusOf(spare);
  if (!written || !isSame(*written, twin.status)) return false;
  twin = {std::move(twin.file), *written, contents.revision(), Twin::Disk::unknown};
  return true;
}

// Whether the twin's file is still the spare, and untouched.
bool FileTwins::isAsLeft(const Twin& twin, const std::string& spare) {
  struct stat opened {};
  const auto named = statusOf(spare);
  return named && isUntouched(*named, twin.status) && ::fstat(twin.file.get(), &opened) == 0 &&
         isSame(opened, *named);
}

// Sees to it that the twin, which is held, is not whole on the disk if it may be. Without waiting
// for the drive to empty its cache: whatever makes the file's next name last does that first.
bool FileTwins::spoil(Twin& twin) {
  if (twin.disk != Twin::Disk::settled) return true;
  constexpr unsigned kWholly =
      SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
  const int file = twin.file.get();
  if (!writeAt(file, std::string(kBeginning, '\0'), 0)) return false;
  twin.disk = Twin::Disk::spoilt;
  if (::sync_file_range(file, 0, kBeginning, kWholly) == 0) return true;
  // An error of the disk is told once only.
  return (errno == EINVAL || errno == ENOSYS || errno == ESPIPE) && ::fdatasync(file) == 0;
}

// Those that nobody has open or has touched. One that can't be is left to the next revision,
// which takes a twin only as it was left here.
void FileTwins::spoilSpares() {
  for (const std::string& name : spares_) {
    const auto named = statusOf(name);
    const auto twin = named && !isKept(*named) ? twinOf(*named) : nullptr;
    if (!twin) continue;
    const WriterLock lock(openedTwin(*twin, name));
    const WriteLease lease(twin->file.get());
    if (!lock || !lease || !isAsLeft(*twin, name)) continue;
    if (!spoil(*twin) || ::fstat(twin->file.get(), &twin->status) != 0) twin->revision = {};
  }
}

// Makes a whole file the spare, and trades it.
bool FileTwins::replace(const std::string& spare, const RevisedBytes& contents) {
  TemporaryFile fresh;
  if (!fresh.openBeside(path_) || !writeAt(fresh.descriptor(), contents.bytes(), 0) ||
      !keepInstead(fresh.descriptor(), spare)) {
    return false;
  }
  struct stat status {};
  if (::fstat(fresh.descriptor(), &status) != 0 || !fresh.commit(spare)) {
    return false;
  }
  const auto twin =
      std::make_shared<Twin>(Twin{fresh.take(), status, contents.revision(), Twin::Disk::unknown});
  // What has no name any more would only take up room.
  std::erase_if(twins_, [](const auto& other) {
    struct stat now {};
    return other->file && ::fstat(other->file.get(), &now) == 0 && now.st_nlink == 0;
  });
  constexpr std::size_t kMostTwins = 3;
  if (twins_.size() == kMostTwins) twins_.erase(twins_.begin());
  twins_.push_back(twin);
  const WriterLock lock(twin->file.get());
  return trade(spare, twin->file.get());
}

// Before the file takes the name: if no other name is that of the file that is kept, it is
// synchronised and kept. What another process has kept is not known, and may be there alone.
bool FileTwins::keepInstead(int file, const std::string& name) {
  for (const std::string* other : {&path_, &spares_[0], &spares_[1]}) {
    const auto named = *other == name ? std::nullopt : statusOf(*other);
    if (named && isKept(*named)) return true;
  }
  return ::fsync(file) == 0 && keep(file);
}

// The spare, which is open, becomes the file, and the file the spare, if there is one and nothing
// else. Otherwise the spare is the only one that is left of both.
bool FileTwins::trade(const std::string& spare, int opened) {
  const auto file = statusOf(path_);
  if (file && S_ISREG(file->st_mode)) {
    if (exchange_(spare, path_)) return true;
    plain_ = errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
  }
  return keepInstead(opened, path_) && std::rename(spare.c_str(), path_.c_str()) == 0;
}

bool FileTwins::synchronize(bool moreToCome) {
  const std::lock_guard lock(mutex_);
  leaveToParent();
  if (!unsynchronized_) return true;
  FileDescriptor file = openedWhole(path_, O_NOFOLLOW);
  if (!file) {
    // Who has removed the file wants nothing of it kept.
    unsynchronized_ = errno != ENOENT;
    return !unsynchronized_;
  }
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) return false;
  // With the file goes its last change, that of its mode, and with that, since journals are
  // written in order, the names: the folder needs no second wait for the drive.
  const bool ours = twinOf(status) != nullptr;
  if (isLost(status) || (ours && ::fchmod(file.get(), kPrivateMode) != 0) ||
      ::fsync(file.get()) != 0) {
    const int error = errno;
    // What could not be written is taken for written from now on: no twin is to be trusted, and
    // the file itself never again.
    twins_.clear();
    lost_ = std::move(file);
    errno = error;
    return false;
  }
  kept_ = {status.st_dev, status.st_ino};
  lost_ = {};
  unsynchronized_ = false;
  next_ = 0;
  for (const auto& twin : twins_) {
    twin->disk = Twin::Disk::settled;
    if (!moreToCome) twin->file = {};
  }
  if (moreToCome) spoilSpares();
  return true;
}

bool FileTwins::isLost(const struct stat& status) const {
  struct stat lost {};
  if (!lost_ || ::fstat(lost_.get(), &lost) != 0 || !isSame(lost, status)) return false;
  errno = EIO;
  return true;
}

bool FileTwins::restore(const std::function<bool(const std::string& path)>& isWhole) const {
  // A file that is gone was removed: nothing here takes its name away.
  if (::access(path_.c_str(), F_OK) != 0 && errno == ENOENT) return false;
  return isWhole(path_) ||
         std::any_of(spares_.begin(), spares_.end(), [&](const std::string& name) {
           const LockedFile spare(name);
           return spare && isWhole(name) && ::fchmod(spare.descriptor(), kPrivateMode) == 0 &&
                  (exchange_(name, path_) || std::rename(name.c_str(), path_.c_str()) == 0);
         });
}

bool FileTwins::remove() {
  const std::lock_guard lock(mutex_);
  twins_.clear();
  kept_.reset();
  lost_ = {};
  unsynchronized_ = false;
  {
    // Takes over what a killed process has left behind, and removes it in the end.
    TemporaryFile leftover;
    leftover.openBeside(path_);
  }
  int error = 0;
  for (const std::string& spare : spares_) {
    if (::unlink(spare.c_str()) != 0 && errno != ENOENT) error = errno;
  }
  if (std::remove(path_.c_str()) != 0) error = errno;
  errno = error;
  return error == 0;
}

// The twin that the file is, whatever has become of it. Null for another file.
std::shared_ptr<FileTwins::Twin> FileTwins::twinOf(const struct stat& status) const {
  const auto twin = std::find_if(twins_.begin(), twins_.end(), [&](const auto& candidate) {
    return isSame(candidate->status, status);
  });
  return twin == twins_.end() ? nullptr : *twin;
}

bool FileTwins::keep(int file) {
  struct stat status {};
  if (::fstat(file, &status) != 0) return false;
  kept_ = {status.st_dev, status.st_ino};
  return true;
}

bool FileTwins::isKept(const struct stat& status) const {
  return kept_ == FileId(status.st_dev, status.st_ino);
}

}  // namespace quillfold
