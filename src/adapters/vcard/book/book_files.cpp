#include "adapters/vcard/book/book_files.h"

#include <algorithm>
#include <chrono>

namespace quillfold {

bool FileStamp::isSettled() const {
  using namespace std::chrono;
  const nanoseconds age =
      system_clock::now().time_since_epoch() - nanoseconds(std::max(modified, changed));
  // A clock that is not ours may be ahead of it.
  return abs(age) > seconds(3);
}

}  // namespace quillfold
