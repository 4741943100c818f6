#include "adapters/linux/file_twins.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>

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
// has the file open, or the file system knows no leases.
class WriteLease {
 public:
  // Who waits is announced by a signal, which is to be one that is ignored by default.
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

// Without waiting for the drive to empty its cache: whatever makes the file's next name last
// does that first.
bool spoil(int file) {
  constexpr unsigned kWholly =
      SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
  return writeAt(file, std::string(kBeginning, '\0'), 0) &&
         (::sync_file_range(file, 0, kBeginning, kWholly) == 0 || ::fdatasync(file) == 0);
}

}  // namespace

bool exchangeNames(const std::string& one, const std::string& other) {
  return ::renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE) == 0;
}

FileTwins::FileTwins(std::string path, NameExchange exchange)
    : path_(std::move(path)), exchange_(std::move(exchange)) {}

bool FileTwins::revise(const RevisedBytes& contents) {
  const std::lock_guard lock(mutex_);
  unsynchronized_ = true;
  if (!plain_ && reviseSpare(contents)) return true;
  const std::string_view bytes = contents.bytes();
  TemporaryFile file;
  return file.openBeside(path_) && file.write(&bytes, 1) &&
         (plain_ || keepInstead(file.descriptor(), path_)) && file.commit(path_);
}

bool FileTwins::reviseSpare(const RevisedBytes& contents) {
  for (const std::string& name : sparesOf(path_)) {
    if (isKept(name)) continue;
    const LockedFile spare(name);
    // Where another process is at work the next one may be free. A link is written over.
    if (!spare && errno != ENOENT && errno != ELOOP) continue;
    // Open, and so locked, until it has traded names.
    TemporaryFile fresh;
    return (update(spare, contents) || writeFresh(fresh, name, contents)) && trade(name);
  }
  return false;
}

// Writes what the spare lacks. Returns false for a spare that is none of ours, or taken, or
// not even there, and where writing fails.
bool FileTwins::update(const LockedFile& spare, const RevisedBytes& contents) {
  if (!spare || twinOf(spare.descriptor()) == twins_.end()) return false;
  const WriteLease lease(spare.descriptor());
  if (!lease) return false;
  // Again: now nobody gets at it any more.
  const auto twin = twinOf(spare.descriptor());
  if (twin == twins_.end()) return false;
  const auto changes = contents.changesSince(twin->revision);
  if (!changes) return false;
  const bool settled = twin->settled;
  twins_.erase(twin);  // Until everything is written it is no revision.
  if (settled && !spoil(spare.descriptor())) return false;
  for (const auto& [offset, size] : *changes) {
    if (!writeAt(spare.descriptor(), contents.bytes().substr(offset, size), offset)) return false;
  }
  if (settled && !writeAt(spare.descriptor(), contents.bytes().substr(0, kBeginning), 0)) {
    return false;
  }
  return remember(spare.descriptor(), contents.revision());
}

bool FileTwins::writeFresh(TemporaryFile& file, const std::string& spare,
                           const RevisedBytes& contents) {
  return file.openBeside(path_) && writeAt(file.descriptor(), contents.bytes(), 0) &&
         keepInstead(file.descriptor(), spare) &&
         remember(file.descriptor(), contents.revision()) && file.commit(spare);
}

// Before the file takes the name: if no other name is that of the file that is kept, it is
// synchronised and kept. What another process has kept is not known, and may be there alone.
bool FileTwins::keepInstead(int file, const std::string& name) {
  const auto spares = sparesOf(path_);
  for (const std::string& other : {path_, spares[0], spares[1]}) {
    if (other != name && isKept(other)) return true;
  }
  return ::fsync(file) == 0 && keep(file);
}

// The spare, which is the file that was written last, becomes the file, and the file the
// spare, if there is one and nothing else.
bool FileTwins::trade(const std::string& spare) {
  // Somebody may have cleared the spares away meanwhile, and begun anew.
  const FileId written = twins_.back().id;
  if (!isNamed(written.device, written.inode, spare)) {
    errno = ESTALE;
    return false;
  }
  struct stat file {};
  if (::lstat(path_.c_str(), &file) == 0 && S_ISREG(file.st_mode)) {
    if (exchange_(spare, path_)) return true;
    plain_ = errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
  }
  return std::rename(spare.c_str(), path_.c_str()) == 0;
}

bool FileTwins::synchronize() {
  const std::lock_guard lock(mutex_);
  if (!unsynchronized_) return true;
  const FileDescriptor file(path_.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
  if (!file) {
    // Who has removed the file wants nothing of it kept.
    unsynchronized_ = errno != ENOENT;
    return !unsynchronized_;
  }
  // With the file goes its last change, that of its mode, and with that, since journals are
  // written in order, the names: the folder needs no second wait for the drive.
  const bool ours = twinOf(file.get()) != twins_.end();
  if ((ours && ::fchmod(file.get(), kPrivateMode) != 0) || ::fsync(file.get()) != 0 ||
      !keep(file.get())) {
    // What could not be written is taken for written from now on: no twin is to be trusted.
    twins_.clear();
    return false;
  }
  unsynchronized_ = false;
  for (Twin& twin : twins_)
    twin.settled = true;
  return true;
}

bool FileTwins::restore(const std::function<bool(const std::string& path)>& isWhole) const {
  // A file that is gone was removed: nothing here takes its name away.
  if (::access(path_.c_str(), F_OK) != 0 || isWhole(path_)) return false;
  const auto spares = sparesOf(path_);
  return std::any_of(spares.begin(), spares.end(), [&](const std::string& name) {
    const LockedFile spare(name);
    return spare && isWhole(name) && ::fchmod(spare.descriptor(), kPrivateMode) == 0 &&
           (exchange_(name, path_) || std::rename(name.c_str(), path_.c_str()) == 0);
  });
}

bool FileTwins::remove() {
  const std::lock_guard lock(mutex_);
  twins_.clear();
  kept_.reset();
  unsynchronized_ = false;
  {
    // Takes over what a killed process has left behind, and removes it in the end.
    TemporaryFile leftover;
    leftover.openBeside(path_);
  }
  int error = 0;
  for (const std::string& spare : sparesOf(path_)) {
    if (::unlink(spare.c_str()) != 0 && errno != ENOENT) error = errno;
  }
  if (std::remove(path_.c_str()) != 0) error = errno;
  errno = error;
  return error == 0;
}

// The twin that the file is, as it was left.
std::vector<FileTwins::Twin>::iterator FileTwins::twinOf(int file) {
  struct stat status {};
  if (::fstat(file, &status) != 0) return twins_.end();
  if ((status.st_mode & 07777) != kPrivateMode || status.st_nlink != 1) return twins_.end();
  return std::find_if(twins_.begin(), twins_.end(), [&status](const Twin& twin) {
    return twin.id.device == status.st_dev && twin.id.inode == status.st_ino &&
           twin.size == status.st_size && twin.modified.tv_sec == status.st_mtim.tv_sec &&
           twin.modified.tv_nsec == status.st_mtim.tv_nsec;
  });
}

bool FileTwins::remember(int file, const RevisedBytes::Revision& revision) {
  struct stat status {};
  if (::fstat(file, &status) != 0) return false;
  const FileId id{status.st_dev, status.st_ino};
  std::erase_if(twins_, [&id](const Twin& twin) {
    return twin.id.device == id.device && twin.id.inode == id.inode;
  });
  constexpr std::size_t kMostTwins = 3;
  if (twins_.size() == kMostTwins) twins_.erase(twins_.begin());
  twins_.push_back({id, status.st_size, status.st_mtim, revision, false});
  return true;
}

bool FileTwins::keep(int file) {
  struct stat status {};
  if (::fstat(file, &status) != 0) return false;
  kept_ = {status.st_dev, status.st_ino};
  return true;
}

bool FileTwins::isKept(const std::string& name) const {
  return kept_ && isNamed(kept_->device, kept_->inode, name);
}

}  // namespace quillfold
