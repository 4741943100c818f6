#include "adapters/linux/defaults_file.h"

#include <poll.h>
#include <sys/file.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "foundation/archive/binary_plist.h"
#include "foundation/format.h"

namespace quillfold {

namespace {

std::string systemText(int error) {
  return std::generic_category().message(error);
}

// Takes the lock within a second; the kernel has no such wait of its own. Returns
// 0 or an error number.
int acquire(int file) {
  constexpr int kAttempts = 200;
  constexpr int kPauseMilliseconds = 5;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (::flock(file, LOCK_EX | LOCK_NB) == 0) return 0;
    if (errno != EWOULDBLOCK && errno != EINTR) return errno;
    ::poll(nullptr, 0, kPauseMilliseconds);
  }
  return EBUSY;
}

// Renames onto a name that is free. Returns 0 or an error number.
int renameToFreeName(const std::string& from, const std::string& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL) return errno;
  // A file system without that operation. Everyone who renames here holds the lock.
  if (::access(to.c_str(), F_OK) == 0) return EEXIST;
  return std::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

std::string besideWithDot(const std::string& path, const char* ending) {
  const std::filesystem::path whole(path);
  return (whole.parent_path() / ("." + whole.filename().string() + ending)).string();
}

}  // namespace

DefaultsFile::DefaultsFile(std::string path, std::shared_ptr<FileManager> files)
    : path_(std::filesystem::absolute(path).string()),
      folder_(std::filesystem::path(path_).parent_path().string()),
      lockPath_(besideWithDot(path_, ".lock")),
      files_(std::move(files)) {}

bool DefaultsFile::load() {
  // A sound file is read without the lock, which can't be had everywhere.
  std::string reason;
  if (read(reason) == Reading::sound) return true;
  const FileDescriptor lock = lockForWriting();
  return lock && loadLocked();
}

bool DefaultsFile::loadLocked() {
  std::string reason;
  const Reading reading = read(reason);
  if (reading == Reading::damaged) return setAside(reason);
  // Perhaps a sound one: what could not be read this time may be read the next.
  if (reading == Reading::failed) leaveInPlace(reason);
  return reading == Reading::sound;
}

bool DefaultsFile::flush() {
  const FileDescriptor file(path_.c_str(), O_RDONLY);
  if (!file && errno == ENOENT) return true;
  if (file && uninterrupted([&] { return ::fsync(file.get()); }) == 0) return true;
  log_.push_back(fmt::format("Error flushing user defaults {}: {}", path_, systemText(errno)));
  return false;
}

FileDescriptor DefaultsFile::lockForWriting() {
  if (const ErrorPtr error = files_->createDirectoryAtPath(folder_)) {
    log_.push_back(
        fmt::format("Error making the folder of user defaults: {}", error->localizedDescription()));
    return {};
  }
  FileDescriptor file(lockPath_.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW, 0600);
  const int error = file ? acquire(file.get()) : errno;
  if (error == 0) return file;
  log_.push_back(fmt::format("Error locking user defaults {}: {}", lockPath_, systemText(error)));
  return {};
}

DefaultsFile::Reading DefaultsFile::read(std::string& reason) {
  const std::optional<Data> bytes = files_->contentsAtPath(path_);
  if (!bytes) {
    reason = fmt::format("the file can't be read ({})", systemText(errno));
    if (files_->fileExistsAtPath(path_)) return Reading::failed;
    // Values that are in no file are all there is of them.
    if (inFile_) values_.clear();
    return Reading::sound;
  }
  ErrorPtr error;
  auto root = NSPropertyListSerialization::propertyListWithData(bytes->bytes(), &error);
  if (!root || !root->isDictionary()) {
    reason = root ? "the top level is no dictionary" : error->localizedDescription();
    return Reading::damaged;
  }
  values_ = std::move(*root->asDictionary());
  inFile_ = true;
  return Reading::sound;
}

void DefaultsFile::leaveInPlace(const std::string& reason) {
  log_.push_back(fmt::format("Unreadable user defaults {} left in place, nothing is written: {}",
                             path_, reason));
}

bool DefaultsFile::setAside(const std::string& reason) {
  std::string name;
  int error = EEXIST;
  for (int number = 1; error == EEXIST; ++number) {
    name = fmt::format("{}.unreadable-{}", path_, number);
    error = renameToFreeName(path_, name);
  }
  if (error != 0) {
    leaveInPlace(fmt::format("{} ({})", reason, systemText(error)));
    return false;
  }
  log_.push_back(
      fmt::format("Unreadable user defaults {} set aside as {}: {}", path_, name, reason));
  inFile_ = false;
  return true;
}

bool DefaultsFile::write(Dictionary values) {
  ErrorPtr error;
  Value root(std::move(values));
  const auto bytes = NSPropertyListSerialization::dataWithPropertyList(root, &error);
  if (bytes) error = files_->replaceFileAtPath(path_, *bytes);
  if (error) {
    log_.push_back(fmt::format("Error writing user defaults: {}", error->localizedDescription()));
    return false;
  }
  values_ = std::move(*root.asDictionary());
  inFile_ = true;
  return true;
}

}  // namespace quillfold
