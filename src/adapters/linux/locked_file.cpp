#include "adapters/linux/locked_file.h"

#include <sys/file.h>

namespace quillfold {

bool isNamed(dev_t device, ino_t inode, const std::string& name) {
  struct stat named {};
  return lstat(name.c_str(), &named) == 0 && named.st_dev == device && named.st_ino == inode;
}

LockedFile::LockedFile(std::string name, int flags) : name_(std::move(name)) {
  FileDescriptor file(name_.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | flags, kPrivateMode);
  if (!file) return;
  if (uninterrupted([&] { return ::flock(file.get(), LOCK_EX | LOCK_NB); }) != 0) return;
  if (fstat(file.get(), &status_) != 0) return;
  // Between opening and locking, its former owner may have renamed or removed it.
  errno = ENOENT;
  if (!isNamed(status_.st_dev, status_.st_ino, name_)) {
    if (errno == ENOENT) errno = ESTALE;
    return;
  }
  file_ = std::move(file);
}

}  // namespace quillfold
