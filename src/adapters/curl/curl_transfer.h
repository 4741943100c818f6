// One request on its way.
#pragma once

#include <chrono>
#include <string>

#include "adapters/curl/curl_easy.h"
#include "adapters/curl/curl_session.h"
#include "platform/url_session.h"

namespace quillfold {

// Belongs to the session's thread; made, used and destroyed under a CurlUse. Stays
// where it is: libcurl points to it.
class CurlTransfer {
 public:
  using Clock = std::chrono::steady_clock;

  // The request has passed checkRequest. Time starts to count here.
  CurlTransfer(const NSMutableURLRequest& request, const CurlOptions& options,
               const NSURLSessionConfiguration& configuration);
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;

  CURL* handle() const { return easy_.get(); }
  // Not CURLE_OK if the transfer can't be started; it is to end with this code.
  CURLcode setUp() const { return easy_.setUp(); }

  // When the transfer has to end if not a further byte comes or goes.
  Clock::time_point deadline() const;

  // What a transfer that libcurl ended with `code` hands to its task. Takes the
  // body along.
  URLResult takeResult(CURLcode code);

 private:
  static int onSend(void* self, char*, char*, int, int);
  static std::size_t onHeader(char* line, std::size_t size, std::size_t count, void* self);
  static std::size_t onBody(char* bytes, std::size_t size, std::size_t count, void* self);
  static int onProgress(void* self, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent);

  void setConnection(const CurlOptions& options);
  void setCallbacks();

  const NSMutableURLRequest request_;
  const std::size_t maximumBodySize_;
  const Clock::duration idleLimit_;
  const Clock::time_point end_;
  Clock::time_point lastActivity_;
  curl_off_t received_ = 0;
  curl_off_t sent_ = 0;
  // How often libcurl has sent the request or followed it.
  long sendings_ = 0;
  std::size_t headerSize_ = 0;
  bool inHeaders_ = false;
  std::string body_;
  // Why a callback of ours has ended the transfer.
  CURLcode refused_ = CURLE_OK;
  char detail_[CURL_ERROR_SIZE] = "";
  // Last, so that it goes before what it points to.
  CurlEasy easy_;
};

}  // namespace quillfold
