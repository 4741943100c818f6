// The file behind the defaults: shared with other processes, possibly damaged.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "adapters/linux/file_descriptor.h"
#include "foundation/value.h"
#include "platform/files.h"

namespace quillfold {

// Not safe for several threads at once. What there is to log is collected, since
// the caller holds a lock while it works with the file.
class DefaultsFile {
 public:
  DefaultsFile(std::string path, std::shared_ptr<FileManager> files);

  // What the file held when it was last read or written.
  const Dictionary& values() const { return values_; }
  std::vector<std::string> takeLog() { return std::exchange(log_, {}); }
  // Why the operation that has just failed did.
  const std::string& lastLine() const { return log_.back(); }

  // Reads the file. A damaged one is set aside, and the values stay as they were.
  // Returns false if the file is there and can neither be read nor be set aside.
  bool load();

  // Lets `change` work on the newest values and writes them if they come out
  // different. Returns whether the file holds them now.
  template <typename Change>
  bool update(Change change) {
    const FileDescriptor lock = lockForWriting();
    // Read anew each time: a small file, and no other way is as safe from what
    // another process may have done since.
    if (!lock || !loadLocked()) return false;
    Dictionary changed = values_;
    change(changed);
    return (inFile_ && changed == values_) || write(std::move(changed));
  }

  // Brings the bytes of the file to the disk. True too if there is no file.
  bool flush();

 private:
  FileDescriptor lockForWriting();
  bool loadLocked();
  enum class Reading { sound, damaged, failed };
  // Takes the values from the file, if there is one, or tells why it can't.
  Reading read(std::string& reason);
  bool setAside(const std::string& reason);
  void leaveInPlace(const std::string& reason);
  bool write(Dictionary values);

  const std::string path_;
  const std::string folder_;
  const std::string lockPath_;
  const std::shared_ptr<FileManager> files_;
  Dictionary values_;
  // False once the file that held them had to be set aside.
  bool inFile_ = true;
  std::vector<std::string> log_;
};

}  // namespace quillfold
