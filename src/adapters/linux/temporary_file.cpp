#include "adapters/linux/temporary_file.h"

#include <limits.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace quillfold {

namespace {

constexpr mode_t kPrivate = 0600;

// Whether the open file still bears the name: between opening and locking, its
// former owner may have renamed or removed it.
bool isNamed(const struct stat& file, const std::string& name) {
  struct stat named {};
  return lstat(name.c_str(), &named) == 0 && named.st_dev == file.st_dev &&
         named.st_ino == file.st_ino;
}

// Writes all of the vectors, which it uses up.
bool writeAll(int file, iovec* vectors, std::size_t count) {
  while (count > 0) {
    const ssize_t result =
        uninterrupted([&] { return ::writev(file, vectors, static_cast<int>(count)); });
    if (result < 0) return false;
    auto written = static_cast<std::size_t>(result);
    while (count > 0 && written >= vectors->iov_len) {
      written -= vectors->iov_len;
      ++vectors;
      --count;
    }
    if (count > 0) {
      vectors->iov_base = static_cast<char*>(vectors->iov_base) + written;
      vectors->iov_len -= written;
    }
  }
  return true;
}

}  // namespace

bool TemporaryFile::openBeside(const std::string& path) {
  constexpr int kMostAttempts = 256;
  const std::size_t nameStart = path.rfind('/') + 1;  // 0 without a folder.
  const std::string base = path.substr(0, nameStart) + "." + path.substr(nameStart) + ".tmp";
  for (int attempt = 0, writer = 0; attempt < kMostAttempts; ++attempt) {
    if (tryOpen(writer == 0 ? base : base + std::to_string(writer))) return true;
    if (errno == EWOULDBLOCK) {
      ++writer;
    } else if (errno != ESTALE) {
      return false;
    }
  }
  errno = EBUSY;
  return false;
}

// Fails with EWOULDBLOCK for the file of another writer, with ESTALE if the file
// changed hands meanwhile.
bool TemporaryFile::tryOpen(const std::string& name) {
  FileDescriptor file(name.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK, kPrivate);
  if (!file) return false;
  if (uninterrupted([&] { return ::flock(file.get(), LOCK_EX | LOCK_NB); }) != 0) return false;
  struct stat status {};
  if (fstat(file.get(), &status) != 0) return false;
  if (!isNamed(status, name)) {
    errno = ESTALE;
    return false;
  }
  file_ = std::move(file);
  name_ = name;
  if ((status.st_mode & 07777) != kPrivate && fchmod(file_.get(), kPrivate) != 0) return false;
  return status.st_size == 0 || ftruncate(file_.get(), 0) == 0;
}

bool TemporaryFile::write(const std::string_view* pieces, std::size_t count) {
  std::array<iovec, IOV_MAX> vectors;
  while (count > 0) {
    const std::size_t chunk = std::min(count, vectors.size());
    std::transform(pieces, pieces + chunk, vectors.begin(), [](std::string_view piece) {
      return iovec{const_cast<char*>(piece.data()), piece.size()};
    });
    if (!writeAll(file_.get(), vectors.data(), chunk)) return false;
    pieces += chunk;
    count -= chunk;
  }
  return true;
}

bool TemporaryFile::commit(const std::string& path) {
  // Some file systems tell only on a close that a write has failed, and the lock
  // must hold until the name is free: so a second descriptor is closed.
  const int second = fcntl(file_.get(), F_DUPFD_CLOEXEC, 0);
  if (second < 0 || (::close(second) != 0 && errno != EINTR)) return false;
  if (std::rename(name_.c_str(), path.c_str()) != 0) return false;
  name_.clear();
  return true;
}

TemporaryFile::~TemporaryFile() {
  if (name_.empty()) return;
  const int error = errno;
  ::unlink(name_.c_str());
  errno = error;
}

}  // namespace quillfold
