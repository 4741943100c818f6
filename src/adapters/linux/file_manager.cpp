#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <map>
#include <mutex>
#include <system_error>

#include "adapters/linux/file_descriptor.h"
#include "adapters/linux/file_lock.h"
#include "adapters/linux/file_twins.h"
#include "adapters/linux/system.h"
#include "adapters/linux/temporary_file.h"
#include "adapters/linux/user_folders.h"
#include "foundation/format.h"

namespace quillfold {

namespace {

FileErrorCode codeOf(int error) {
  switch (error) {
    case ENOENT:
      return NSFileNoSuchFileError;
    case EACCES:
    case EPERM:
    case EROFS:
      return NSFileWriteNoPermissionError;
    case ENOSPC:
    case EDQUOT:
      return NSFileWriteOutOfSpaceError;
    default:
      return NSFileWriteUnknownError;
  }
}

ErrorPtr systemError(const std::string& path, int error) {
  const std::string text = fmt::format("{}: {}", path, std::generic_category().message(error));
  return NSError::errorWithDomain("NSCocoaErrorDomain", codeOf(error),
                                  {{NSLocalizedDescriptionKey, text}});
}

// 0, or why there is no directory at the path.
int directoryError(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return errno;
  return S_ISDIR(status.st_mode) ? 0 : ENOTDIR;
}

// Returns 0 or an error number.
int makeDirectories(const std::string& path) {
  if (mkdir(path.c_str(), 0700) == 0) return 0;
  if (errno == EEXIST) return directoryError(path);
  if (errno != ENOENT) return errno;
  const std::string parent = std::filesystem::path(path).parent_path().string();
  if (parent.empty() || parent == path) return ENOENT;
  if (const int error = makeDirectories(parent)) return error;
  // Another process may have been faster.
  if (mkdir(path.c_str(), 0700) == 0) return 0;
  return errno == EEXIST ? directoryError(path) : errno;
}

// No file of the library grows beyond it; a larger one is somebody's mistake.
constexpr std::uint64_t kMaximumFileSize = UINT32_MAX;

// Absent with errno set.
std::optional<Data> contentsOf(const FileDescriptor& file) {
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) return std::nullopt;
  const bool tooLarge = static_cast<std::uint64_t>(status.st_size) > kMaximumFileSize;
  if (tooLarge || !S_ISREG(status.st_mode)) {
    errno = tooLarge ? EFBIG : EINVAL;
    return std::nullopt;
  }
  // One byte more than the file has, so that its end shows in the first read.
  std::string bytes(static_cast<std::size_t>(status.st_size) + 1, '\0');
  std::size_t size = 0;
  while (true) {
    const ssize_t count =
        uninterrupted([&] { return ::read(file.get(), bytes.data() + size, bytes.size() - size); });
    if (count < 0) return std::nullopt;
    if (count == 0) break;
    size += static_cast<std::size_t>(count);
    if (size == bytes.size()) bytes.resize(2 * size);
  }
  bytes.resize(size);
  return Data(std::move(bytes));
}

// Whether the path is still that of the open file, perhaps through links.
bool leadsTo(const std::string& path, const FileDescriptor& file) {
  struct stat named {
  }, opened{};
  return stat(path.c_str(), &named) == 0 && fstat(file.get(), &opened) == 0 &&
         named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

class LinuxFileManager : public FileManager {
 public:
  LinuxFileManager(const std::string& dataFolder, NameExchange exchange)
      : dataFolder_(dataFolder.empty() ? std::string()
                                       : std::filesystem::absolute(dataFolder).string()),
        exchange_(std::move(exchange)) {}

  std::string applicationSupportDirectory() override {
    return dataFolder_.empty() ? userDataFolder() : dataFolder_;
  }

  // What can't be looked at may be there: it is not to be taken for a fresh start.
  bool fileExistsAtPath(const std::string& path) override {
    return access(path.c_str(), F_OK) == 0 || (errno != ENOENT && errno != ENOTDIR);
  }

  ErrorPtr createDirectoryAtPath(const std::string& path) override {
    const int error = makeDirectories(path);
    return error == 0 ? nullptr : systemError(path, error);
  }

  std::optional<Data> contentsAtPath(const std::string& path) override {
    // One that lost the name meanwhile may have become a spare, and been written.
    constexpr int kMostAttempts = 8;
    std::optional<Data> contents;
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
      const FileDescriptor file = openedWhole(path);
      contents = contentsOf(file);
      if (!contents || leadsTo(path, file)) break;
    }
    return contents;
  }

  ErrorPtr replaceFileAtPath(const std::string& path, const std::string_view* pieces,
                             std::size_t count) override {
    TemporaryFile file;
    const bool replaced = file.openBeside(path) && file.write(pieces, count) && file.commit(path);
    return replaced ? nullptr : systemError(path, errno);
  }

  std::shared_ptr<void> lockFileAtPath(const std::string& path, ErrorPtr* error) override {
    std::string holder;
    int number = 0;
    auto lock = lockFile(path, holder, number);
    if (lock) return lock;
    *error = number != 0 ? systemError(path, number)
                         : NSError::errorWithDomain(
                               "NSCocoaErrorDomain", NSFileLockingError,
                               {{NSLocalizedDescriptionKey,
                                 fmt::format("{} is held by process {}", path,
                                             holder.empty() ? std::string("unknown") : holder)}});
    return nullptr;
  }

  ErrorPtr removeItemAtPath(const std::string& path) override {
    return twinsAt(path)->remove() ? nullptr : systemError(path, errno);
  }

  ErrorPtr reviseFileAtPath(const std::string& path, const RevisedBytes& contents) override {
    return twinsAt(path)->revise(contents) ? nullptr : systemError(path, errno);
  }

  ErrorPtr synchronizeFileAtPath(const std::string& path, bool moreToCome) override {
    return twinsAt(path)->synchronize(moreToCome) ? nullptr : systemError(path, errno);
  }

  bool restoreFileAtPath(const std::string& path,
                         const std::function<bool(std::string_view)>& isWhole) override {
    return twinsAt(path)->restore([&](const std::string& file) {
      const auto contents = contentsAtPath(file);
      return contents && isWhole(contents->bytes());
    });
  }

 private:
  std::shared_ptr<FileTwins> twinsAt(const std::string& path) {
    const std::lock_guard lock(mutex_);
    std::shared_ptr<FileTwins>& twins = twins_[path];
    if (!twins) twins = std::make_shared<FileTwins>(path, exchange_);
    return twins;
  }

  const std::string dataFolder_;
  const NameExchange exchange_;

  // Guards the map; what is in it guards itself.
  std::mutex mutex_;
  std::map<std::string, std::shared_ptr<FileTwins>> twins_;
};

}  // namespace

std::shared_ptr<FileManager> makeFileManager(std::string dataFolder, NameExchange exchange) {
  return std::make_shared<LinuxFileManager>(dataFolder, std::move(exchange));
}

}  // namespace quillfold
