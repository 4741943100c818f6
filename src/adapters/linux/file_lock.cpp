#include "adapters/linux/file_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <cerrno>

#include "adapters/linux/file_descriptor.h"

namespace quillfold {

namespace {

std::string numberIn(const FileDescriptor& file) {
  std::array<char, 16> bytes{};
  const ssize_t size =
      uninterrupted([&] { return ::pread(file.get(), bytes.data(), bytes.size(), 0); });
  std::string number;
  for (ssize_t i = 0;
       i < size && std::isdigit(static_cast<unsigned char>(bytes.at(static_cast<std::size_t>(i))));
       ++i)
    number += bytes.at(static_cast<std::size_t>(i));
  return number;
}

}  // namespace

std::shared_ptr<void> lockFile(const std::string& path, std::string& holder, int& error) {
  error = 0;
  auto file = std::make_shared<FileDescriptor>(path.c_str(), O_RDWR | O_CREAT, 0600);
  if (!*file) {
    error = errno;
    return nullptr;
  }
  if (uninterrupted([&] { return ::flock(file->get(), LOCK_EX | LOCK_NB); }) != 0) {
    if (errno == EWOULDBLOCK) {
      holder = numberIn(*file);
    } else {
      error = errno;
    }
    return nullptr;
  }
  // Only for the text that others show: the lock holds without it.
  const std::string number = std::to_string(::getpid()) + '\n';
  if (::ftruncate(file->get(), 0) == 0) {
    static_cast<void>(
        uninterrupted([&] { return ::pwrite(file->get(), number.data(), number.size(), 0); }));
  }
  return file;
}

}  // namespace quillfold
