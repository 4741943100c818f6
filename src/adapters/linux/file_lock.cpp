#include "adapters/linux/file_lock.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>

#include "adapters/linux/locked_file.h"

namespace quillfold {

namespace {

std::string numberIn(const std::string& path) {
  const FileDescriptor file(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
  std::array<char, 16> bytes{};
  const ssize_t size =
      uninterrupted([&] { return ::pread(file.get(), bytes.data(), bytes.size(), 0); });
  const auto end = bytes.begin() + std::max<ssize_t>(size, 0);
  return {bytes.begin(), std::find_if_not(bytes.begin(), end,
                                          [](unsigned char c) { return std::isdigit(c) != 0; })};
}

}  // namespace

std::shared_ptr<void> lockFile(const std::string& path, std::string& holder, int& error) {
  error = 0;
  auto file = std::make_shared<LockedFile>(path, O_CREAT);
  if (!*file) {
    if (errno == EWOULDBLOCK) {
      holder = numberIn(path);
    } else {
      error = errno;
    }
    return nullptr;
  }
  // Only for the text that others show: the lock holds without it.
  const std::string number = std::to_string(::getpid()) + '\n';
  if (::ftruncate(file->descriptor(), 0) == 0) {
    static_cast<void>(uninterrupted(
        [&] { return ::pwrite(file->descriptor(), number.data(), number.size(), 0); }));
  }
  return file;
}

}  // namespace quillfold
