// An open file of the process.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace quillfold {

// Repeats a system call that a signal interrupts.
template <typename Call>
auto uninterrupted(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR)
    result = call();
  return result;
}

// Closes the file in the end. Not open if opening failed; errno tells why.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int number) : number_(number) {}
  FileDescriptor(const char* path, int flags, mode_t mode = 0)
      : number_(uninterrupted([&] { return ::open(path, flags | O_CLOEXEC, mode); })) {}
  FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~FileDescriptor() {
    if (number_ >= 0) ::close(number_);
  }

  explicit operator bool() const { return number_ >= 0; }
  int get() const { return number_; }

 private:
  int number_ = -1;
};

}  // namespace quillfold
