// URL sessions on libcurl.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>

#include "foundation/export.h"
#include "platform/url_session.h"

namespace quillfold {

struct CurlOptions {
  // A certificate file (PEM) that is trusted instead of the system's; empty: the
  // system's.
  std::string certificateFile;
  // Where connections really go, "host:port" to "host:port". The names in the
  // request and in the server's certificate stay those of the address.
  std::map<std::string, std::string> connectTo;
  // Bytes of a body, as it comes and as it is unpacked, above which a task ends with
  // NSURLErrorDataLengthExceedsMaximum, also when the server only announces them or sends
  // them with a redirect. Unpacking takes up to as much again, reading JSON 30 times as much.
  std::size_t maximumBodySize = std::size_t{64} << 20;
  // Scheme, host and port that take the place of those of every request, such as
  // "https://api.example.com"; empty: none. Redirects go where the server says.
  std::string origin{};
  // A proxy for all requests; empty: those of the environment.
  std::string proxy{};
  // In place of the configuration's time limits, in seconds; 0: those.
  double idleTimeout = 0;
  double requestTimeout = 0;
};

// Makes sessions that load http and https addresses. Each session has one thread,
// started by the first task that is resumed or cancelled, and keeps connections
// alive between requests.
//
// Up to 20 redirects are followed; "Authorization" stays with the scheme, host and
// port of the request. The headers of all answers to a task may come to 256 KiB; beyond
// that it ends as with too large a body. An answer that breaks off, be it in its headers,
// is NSURLErrorNetworkConnectionLost. A request whose connection, kept from an earlier one,
// breaks before a byte of the answer is sent once more over a new one; a POST never is.
// Proxies come from the environment (http_proxy,
// https_proxy, all_proxy, no_proxy). Cookies and answers are not stored.
//
// "Content-Length", "Transfer-Encoding" and "Expect" are the session's own; those
// of a request are left out. A body has no "Content-Type" but the request's.
//
// A timeout of zero or less, or that is no number, is no timeout.
//
// Every error is in NSURLErrorDomain, with a sentence as its description, the
// address without credentials under "NSErrorFailingURLStringKey" (absent if the
// address can't be read), and, where libcurl reported it, an underlying error in
// the domain "libcurl". A request that HTTP can't carry (a line end in a header, a
// method or header name that is no token, a body with HEAD) ends with NSURLErrorBadURL.
//
// When the process ends, threads that are still loading are held back from
// libcurl, so a session may live as long as the process.
QUILLFOLD_EXPORT std::shared_ptr<URLSessionFactory> makeCurlSessionFactory(CurlOptions options);

// Whether the text is an http or https address of scheme, host and perhaps port alone.
QUILLFOLD_EXPORT bool isWebOrigin(const std::string& text);

}  // namespace quillfold
