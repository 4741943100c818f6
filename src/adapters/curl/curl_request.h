// A request as it goes out.
#pragma once

#include "adapters/curl/curl_easy.h"
#include "platform/url_session.h"

namespace quillfold {

// Null, or why the request can't be sent: NSURLErrorBadURL or
// NSURLErrorUnsupportedURL.
ErrorPtr checkRequest(const NSMutableURLRequest& request);

// Sets address, method, headers and body of a checked request. The body's bytes
// are not copied.
void prepareRequest(CurlEasy& easy, const NSMutableURLRequest& request);

// To be called when the headers of an answer with this status have come: a 303
// asks for its new address by GET, whatever the method was.
void followMethod(CurlEasy& easy, long status);

}  // namespace quillfold
