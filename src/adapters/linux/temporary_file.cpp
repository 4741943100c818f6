#include "adapters/linux/temporary_file.h"

#include <limits.h>
#include <sys/stat.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace quillfold {

namespace {

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

bool TemporaryFile::tryOpen(const std::string& name) {
  LockedFile file(name, O_CREAT);
  if (!file) return false;
  file_ = std::move(file);
  name_ = name;
  const struct stat& status = file_.status();
  if ((status.st_mode & 07777) != kPrivateMode && fchmod(descriptor(), kPrivateMode) != 0) {
    return false;
  }
  return status.st_size == 0 || ftruncate(descriptor(), 0) == 0;
}

bool TemporaryFile::write(const std::string_view* pieces, std::size_t count) {
  std::array<iovec, IOV_MAX> vectors;
  while (count > 0) {
    const std::size_t chunk = std::min(count, vectors.size());
    std::transform(pieces, pieces + chunk, vectors.begin(), [](std::string_view piece) {
      return iovec{const_cast<char*>(piece.data()), piece.size()};
    });
    if (!writeAll(descriptor(), vectors.data(), chunk)) return false;
    pieces += chunk;
    count -= chunk;
  }
  return true;
}

bool TemporaryFile::commit(const std::string& path) {
  // Some file systems tell only on a close that a write has failed, and the lock
  // must hold until the name is free: so a second descriptor is closed.
  const int second = fcntl(descriptor(), F_DUPFD_CLOEXEC, 0);
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
