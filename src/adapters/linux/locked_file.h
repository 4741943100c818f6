// A file that one writer at a time has open.
#pragma once

#include <sys/stat.h>

#include <string>

#include "adapters/linux/file_descriptor.h"

namespace quillfold {

inline constexpr mode_t kPrivateMode = 0600;

// A file that is locked for as long as it is open, which ends with its process at the
// latest. Writers rename away from the name of a spare or a temporary file only with the lock
// of the file that bears it: so the name stays with the file until the lock goes, unless
// somebody removes it.
class LockedFile {
 public:
  LockedFile() = default;
  // With O_CREAT the file is made, with mode 0600, if there is none. Not open, with errno
  // set, if that fails: EWOULDBLOCK if another writer has it, ESTALE if it changed hands
  // meanwhile.
  explicit LockedFile(std::string name, int flags = 0);

  explicit operator bool() const { return static_cast<bool>(file_); }
  const std::string& name() const { return name_; }
  int descriptor() const { return file_.get(); }
  // The open file, with the lock.
  FileDescriptor take() && { return std::move(file_); }
  // As of the opening.
  const struct stat& status() const { return status_; }

 private:
  FileDescriptor file_;
  std::string name_;
  struct stat status_ {};
};

// Whether the name is that of the file, itself and not through a link.
bool isNamed(dev_t device, ino_t inode, const std::string& name);

}  // namespace quillfold
