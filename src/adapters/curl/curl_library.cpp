#include "adapters/curl/curl_library.h"

#include <curl/curl.h>

#include <cstdlib>
#include <mutex>
#include <new>

namespace quillfold {

namespace {

// Never destroyed: threads wait on it while the process ends.
std::shared_mutex& gate() {
  static auto& mutex = *new std::shared_mutex;
  return mutex;
}

}  // namespace

void startCurl() {
  static std::once_flag started;
  std::call_once(started, [] {
    if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) throw std::bad_alloc();
    // After the line above, so that it runs before OpenSSL's own handler.
    std::atexit([] { gate().lock(); });
  });
}

CurlUse::CurlUse() : hold_(gate()) {}

}  // namespace quillfold
