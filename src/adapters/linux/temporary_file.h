// The file beside a path that becomes the path's new content.
#pragma once

#include <string>
#include <string_view>

#include "adapters/linux/locked_file.h"

namespace quillfold {

// An empty file of mode 0600 named ".NAME.tmp" in the folder of NAME, locked for
// as long as it is open.
//
// The name is fixed, so that what a killed process left behind is taken over by
// the next replacement instead of piling up. The lock tells such a leftover from a file
// that another thread or process is still writing: then ".NAME.tmp1" is tried, and so on.
// Nobody waits for anybody.
class TemporaryFile {
 public:
  // Returns false with errno set if no such file can be opened.
  bool openBeside(const std::string& path);

  // Each returns false with errno set. A file that is not committed is removed in
  // the end.
  bool write(const std::string_view* pieces, std::size_t count);
  bool commit(const std::string& path);
  int descriptor() const { return file_.descriptor(); }
  // The open file, still locked, once it is committed.
  FileDescriptor take() { return std::move(file_).take(); }

  TemporaryFile() = default;
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile();

 private:
  bool tryOpen(const std::string& name);

  LockedFile file_;
  std::string name_;  // Empty if there is nothing to remove.
};

}  // namespace quillfold
