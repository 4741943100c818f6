// Errors of NSURLErrorDomain, from our own findings and from libcurl's.
#pragma once

#include <curl/curl.h>

#include <optional>
#include <string>

#include "platform/url_session.h"

namespace quillfold {

// `address` is that of the request. Without a text the description is the
// general sentence of the code.
ErrorPtr urlError(NSURLErrorCode code, const std::string& address, ErrorPtr underlying = nullptr,
                  std::optional<std::string> text = std::nullopt);

// The error for a transfer that libcurl ended with `code` (not CURLE_OK) and, if
// it had more to say, with `detail`. `lastAddress` is the one that it had come to
// by then.
ErrorPtr curlError(CURLcode code, const std::string& detail, const std::string& address,
                   const std::string& lastAddress);

}  // namespace quillfold
