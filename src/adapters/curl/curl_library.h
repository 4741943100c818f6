// The process's use of libcurl.
#pragma once

#include <shared_mutex>

namespace quillfold {

// Sets libcurl up, once per process. Any thread.
void startCurl();

// Held by a session's thread while it works inside libcurl; any number at once,
// never two by one thread, and never while it waits or calls out.
//
// At the end of the process OpenSSL takes itself down while the threads still
// run. An exit handler that runs before it waits until no thread holds a CurlUse,
// and from then on lets none have one.
class CurlUse {
 public:
  CurlUse();

 private:
  std::shared_lock<std::shared_mutex> hold_;
};

}  // namespace quillfold
