// User defaults in one property-list file.
#pragma once

#include <memory>
#include <string>

#include "platform/files.h"
#include "platform/user_defaults.h"

namespace quillfold {

// Defaults in a binary property list of mode 0600, whose folder is made with mode
// 0700 on the first write. Nothing is read before the first use. Any thread.
//
// Every write replaces the file at once, so that a kill right behind it loses
// nothing. One that fails, on a full disk for instance, is logged, stays visible to
// reads, and is tried again with the next write and by `synchronize`. A value that
// is or holds null, or is nested too deeply for a property list, is refused with a
// log line.
//
// `synchronize` tries what is still unwritten, has the file's bytes brought to the
// disk, and returns whether both worked.
//
// Several processes, and several objects in one, may share the file: each write
// takes a lock beside it (".NAME.lock"), reads what others have written meanwhile
// and changes only the keys that were set or removed here. The last writer of a key
// wins. Reads see the others' changes after the next write or `synchronize`. A lock
// that stays taken for a second counts as a failed write.
//
// A file that is no property list of a dictionary is renamed to "NAME.unreadable-1" (the
// first number that is free) and logged. Where that fails, and where the file can't be
// read, it stays, nothing is written over it, and the log says so with each attempt.
std::shared_ptr<NSUserDefaults> makePropertyListDefaults(std::string path,
                                                         std::shared_ptr<FileManager> files);

}  // namespace quillfold
