// The services of the Linux platform that need no library but the system's own.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "adapters/linux/file_twins.h"
#include "foundation/export.h"
#include "platform/clock.h"
#include "platform/device.h"
#include "platform/files.h"
#include "platform/log.h"

namespace quillfold {

std::shared_ptr<Clock> makeSystemClock();

// Lines on standard error, each behind its local time and in one piece. Leveled
// lines below `lowest` are dropped, those of the plain log unless `plain`. Line ends and tabs
// inside a line are kept; every other control character is written as "\x1b", so that a line which
// quotes an answer can't drive a terminal. Bytes that are no UTF-8 become U+FFFD.
QUILLFOLD_EXPORT_INTERNAL std::shared_ptr<LogSink> makeStderrLog(LogLevel lowest = LogLevel::Error,
                                                                 bool plain = true);

// What /etc/os-release, /sys/class/power_supply, uname and sysconf tell. The files
// are looked for below `root`, which only tests set. Without a battery the level
// is negative and the state unknown.
std::shared_ptr<DeviceData> makeDeviceData(std::optional<UIScreen> screen, NSBundle bundle,
                                           std::string root = {});

// Files of this process's user. The application support directory is the given
// folder or, if it is empty, the user's data folder (user_folders.h). Errors carry
// one of the FileErrorCodes and the path with the system's text.
//
// Replacing survives the end of the process at any point, not a power cut: there is no
// fsync. Common file systems (ext4, btrfs) write the data out before such a rename all the
// same; on others a power cut may leave an empty file, which its reader has to refuse. What
// revising does, and what it survives, stands in file_twins.h.
std::shared_ptr<FileManager> makeFileManager(std::string dataFolder,
                                             NameExchange exchange = exchangeNames);

}  // namespace quillfold
