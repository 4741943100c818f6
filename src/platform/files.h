// The file system, as far as the library keeps files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/error.h"
#include "foundation/export.h"
#include "foundation/revised_bytes.h"
#include "foundation/value.h"

namespace quillfold {

// Codes in "NSCocoaErrorDomain".
enum FileErrorCode : std::int64_t {
  NSFileNoSuchFileError = 4,
  // Somebody else holds the file.
  NSFileLockingError = 255,
  NSFileReadUnknownError = 256,
  NSFileWriteUnknownError = 512,
  NSFileWriteNoPermissionError = 513,
  NSFileWriteOutOfSpaceError = 640,
};

// Safe to use from any thread. Errors are in domain "NSCocoaErrorDomain" with
// the system's text.
class QUILLFOLD_EXPORT FileManager {
 public:
  virtual ~FileManager() = default;

  // The directory for an application's own files, expanded; it need not exist.
  virtual std::string applicationSupportDirectory() = 0;

  virtual bool fileExistsAtPath(const std::string& path) = 0;
  // Makes the directory and those above it, with mode 0700. Returns the error,
  // or none.
  virtual ErrorPtr createDirectoryAtPath(const std::string& path) = 0;
  // Absent if the file can't be read, or has more than 4 GiB.
  virtual std::optional<Data> contentsAtPath(const std::string& path) = 0;
  // Writes the pieces, one behind the other, to a temporary file of mode 0600
  // beside the path and renames it onto the path, so that a reader sees the old
  // file or the new one and a failure part-way leaves the old one. Returns the
  // error, or none.
  virtual ErrorPtr replaceFileAtPath(const std::string& path, const std::string_view* pieces,
                                     std::size_t count) = 0;
  // Removes the file, and the twins that reviseFileAtPath keeps of it.
  virtual ErrorPtr removeItemAtPath(const std::string& path) = 0;

  // Replaces a file by the next revision of its bytes. A reader, also after a kill, sees what
  // replaceFileAtPath promises. By default the file is written whole. Where the system allows
  // it the cost is that of what has changed: earlier revisions, the file's twins, are kept
  // beside it with mode 0600, and one of them is brought up to date and takes its place.
  virtual ErrorPtr reviseFileAtPath(const std::string& path, const RevisedBytes& contents) {
    return replaceFileAtPath(path, contents.bytes());
  }
  // Waits until a power cut can't take back the last revision: what it leaves at the path, or
  // in a twin for restoreFileAtPath, is that one or a later one. Returns the error, or none;
  // at once if there is nothing to wait for. With `moreToCome`, what the next revisions would
  // have to wait for is waited for here. Promises nothing by default.
  virtual ErrorPtr synchronizeFileAtPath(const std::string& path, bool moreToCome = false) {
    static_cast<void>(path);
    static_cast<void>(moreToCome);
    return nullptr;
  }
  // Puts a twin that `isWhole` accepts in the place of a file that it refuses. Returns whether
  // it accepts the file now, by another's doing perhaps; by default there are no twins.
  virtual bool restoreFileAtPath(const std::string& path,
                                 const std::function<bool(std::string_view)>& isWhole) {
    static_cast<void>(path);
    static_cast<void>(isWhole);
    return false;
  }

  // Holds the file, which is made, for this process until the returned object goes, or the
  // process does. Null, with the error set, while another one holds it; the text names that
  // process. Where the system knows no such thing nobody is kept out.
  virtual std::shared_ptr<void> lockFileAtPath(const std::string& path, ErrorPtr* error) {
    static_cast<void>(error);
    return std::make_shared<std::string>(path);
  }

  ErrorPtr replaceFileAtPath(const std::string& path, std::string_view contents) {
    return replaceFileAtPath(path, &contents, 1);
  }
};

}  // namespace quillfold
