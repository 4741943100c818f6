// Preloaded into a program: the n-th of its calls on files of one folder fails. By environment:
//   FAIL_IN    the folder, as an absolute path
//   FAIL_AT    the number of the call, from 1; 0: none
//   FAIL_WITH  an error's number; 0: nothing, but a write takes one byte; -1: the process is
//              killed, amid a write
//   FAIL_LAST  the number of the last call that fails, if it is a later one
//   FAIL_ONLY  a part of the paths to which that happens; absent: all
//   FAIL_RUN   a command that is run in place of a failure, before the call does its work
//   FAIL_LOG   a file that gets "NUMBER CALL PATH" for each failure, without one for each call
#include <dirent.h>
#include <dlfcn.h>
// The other header of these constants declares what is defined here, in another form.
#include <linux/fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

long number(const char* variable) {
  const char* value = getenv(variable);
  return value == nullptr ? 0 : atol(value);
}
const long at = number("FAIL_AT"), last = std::max(at, number("FAIL_LAST")),
           with = number("FAIL_WITH");

// Whether the call, on a path or an open file, is one that is to go wrong.
bool isChosen(const char* name, const char* path) {
  static std::atomic<long> calls = 0;
  static const char *const folder = getenv("FAIL_IN"), *const only = getenv("FAIL_ONLY");
  if (folder == nullptr || strncmp(path, folder, strlen(folder)) != 0) return false;
  const long call = ++calls;
  const bool chosen =
      call >= at && call <= last && (only == nullptr || strstr(path, only) != nullptr);
  if (!chosen && at > 0) return false;
  static FILE* const log = fopen(getenv("FAIL_LOG"), "ae");
  fprintf(log, "%ld %s %s\n", call, name, path);
  fflush(log);
  return chosen;
}
bool isChosen(const char* name, int file) {
  char link[32], path[4096] = "";
  snprintf(link, sizeof link, "/proc/self/fd/%d", file);
  return readlink(link, path, sizeof path - 1) >= 0 && isChosen(name, path);
}

template <typename Subject>
bool fails(const char* name, Subject subject) {
  if (!isChosen(name, subject)) return false;
  if (const char* command = getenv("FAIL_RUN")) {
    // It has calls of its own.
    unsetenv("LD_PRELOAD");
    if (system(command) != 0) abort();
  }
  if (with < 0) raise(SIGKILL);
  errno = static_cast<int>(with);
  return with > 0;
}

// A write by the function, which is given how much of it to take.
template <typename Write>
ssize_t writes(const char* name, int file, size_t size, Write part) {
  if (!isChosen(name, file)) return part(size);
  if (with < 0) part(size / 2), raise(SIGKILL);
  errno = static_cast<int>(with);
  return with > 0 ? -1 : part(1);
}

}  // namespace

// The function that is replaced.
#define NEXT(type, name, parameters) \
  static const auto next = reinterpret_cast<type(*) parameters>(dlsym(RTLD_NEXT, #name))
#define CALL(type, name, subject, parameters, arguments) \
  extern "C" type name parameters {                      \
    NEXT(type, name, parameters);                        \
    return fails(#name, subject) ? -1 : next arguments;  \
  }

CALL(int, access, path, (const char* path, int mode), (path, mode))
CALL(int, fchmod, file, (int file, mode_t mode), (file, mode))
CALL(int, fdatasync, file, (int file), (file))
CALL(int, fstat, file, (int file, struct stat* status), (file, status))
CALL(int, fstatat, folder, (int folder, const char* path, struct stat* status, int flags),
     (folder, path, status, flags))
CALL(int, fsync, file, (int file), (file))
CALL(int, ftruncate, file, (int file, off_t size), (file, size))
CALL(int, lstat, path, (const char* path, struct stat* status), (path, status))
CALL(int, mkdir, path, (const char* path, mode_t mode), (path, mode))
CALL(int, open, path, (const char* path, int flags, mode_t mode), (path, flags, mode))
CALL(ssize_t, read, file, (int file, void* bytes, size_t size), (file, bytes, size))
CALL(int, remove, path, (const char* path), (path))
CALL(int, rename, to, (const char* from, const char* to), (from, to))
CALL(int, renameat2, to, (int a, const char* from, int b, const char* to, unsigned flags),
     (a, from, b, to, flags))
CALL(int, stat, path, (const char* path, struct stat* status), (path, status))
CALL(int, sync_file_range, file, (int file, off_t a, off_t b, unsigned c), (file, a, b, c))
CALL(int, unlink, path, (const char* path), (path))
// To give a lock or a lease back never fails.
CALL(int, flock, operation == LOCK_UN ? -1 : file, (int file, int operation), (file, operation))
CALL(int, fcntl, command == F_SETLEASE && argument == F_UNLCK ? -1 : file,
     (int file, int command, long argument), (file, command, argument))

extern "C" DIR* opendir(const char* path) {
  NEXT(DIR*, opendir, (const char*));
  return fails("opendir", path) ? nullptr : next(path);
}
extern "C" dirent* readdir(DIR* folder) {
  NEXT(dirent*, readdir, (DIR*));
  return fails("readdir", dirfd(folder)) ? nullptr : next(folder);
}

// The file is closed all the same.
extern "C" int close(int file) {
  NEXT(int, close, (int));
  const bool failed = fails("close", file);
  const int error = errno, result = next(file);
  return failed ? errno = error, -1 : result;
}
extern "C" ssize_t pwrite(int file, const void* bytes, size_t size, off_t to) {
  NEXT(ssize_t, pwrite, (int, const void*, size_t, off_t));
  return writes("pwrite", file, size, [=](size_t part) { return next(file, bytes, part, to); });
}
// Where not all is written, a part of the first piece.
extern "C" ssize_t writev(int file, const iovec* pieces, int count) {
  NEXT(ssize_t, writev, (int, const iovec*, int));
  const size_t size = pieces->iov_len;
  return writes("writev", file, size, [=](size_t part) {
    return part == size ? next(file, pieces, count) : write(file, pieces->iov_base, part);
  });
}
