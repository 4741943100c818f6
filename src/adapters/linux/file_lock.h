// One process at a time.
#pragma once

#include <memory>
#include <string>

namespace quillfold {

// The lock of a file, which is made with mode 0600; goes with the returned object or with
// the process. Null while another process has it, whose number is then in `holder` ("" if it
// is not known), and where the file can't be opened: then `error` is the errno, else 0.
std::shared_ptr<void> lockFile(const std::string& path, std::string& holder, int& error);

}  // namespace quillfold
