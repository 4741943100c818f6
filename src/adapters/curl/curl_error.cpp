#include "adapters/curl/curl_error.h"

#include "adapters/curl/curl_url.h"

namespace quillfold {

namespace {

const char* sentence(NSURLErrorCode code) {
  switch (code) {
    case NSURLErrorCancelled:
      return "cancelled";
    case NSURLErrorBadURL:
      return "The address is not valid.";
    case NSURLErrorTimedOut:
      return "The request timed out.";
    case NSURLErrorUnsupportedURL:
      return "The address is neither http nor https.";
    case NSURLErrorCannotFindHost:
      return "A server with the specified hostname could not be found.";
    case NSURLErrorCannotConnectToHost:
      return "Could not connect to the server.";
    case NSURLErrorNetworkConnectionLost:
      return "The network connection was lost.";
    case NSURLErrorHTTPTooManyRedirects:
      return "The server redirected too many times.";
    case NSURLErrorBadServerResponse:
      return "There was a bad response from the server.";
    case NSURLErrorCannotParseResponse:
      return "The response of the server cannot be parsed.";
    case NSURLErrorDataLengthExceedsMaximum:
      return "The response exceeds the maximum size.";
    case NSURLErrorSecureConnectionFailed:
      return "A secure connection to the server cannot be made.";
    case NSURLErrorServerCertificateUntrusted:
      return "The certificate of the server is not trusted.";
    case NSURLErrorUnknown:
      break;
  }
  return "The request failed for an unknown reason.";
}

NSURLErrorCode codeOf(CURLcode code) {
  switch (code) {
    case CURLE_URL_MALFORMAT:
      return NSURLErrorBadURL;
    case CURLE_OPERATION_TIMEDOUT:
      return NSURLErrorTimedOut;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      return NSURLErrorCannotFindHost;
    case CURLE_COULDNT_CONNECT:
    case CURLE_PROXY:
      return NSURLErrorCannotConnectToHost;
    case CURLE_PARTIAL_FILE:
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_HTTP2_STREAM:
      return NSURLErrorNetworkConnectionLost;
    case CURLE_TOO_MANY_REDIRECTS:
      return NSURLErrorHTTPTooManyRedirects;
    // With an http address it stands for an answer without a status line.
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_HTTP2:
      return NSURLErrorBadServerResponse;
    case CURLE_BAD_CONTENT_ENCODING:
      return NSURLErrorCannotParseResponse;
    case CURLE_FILESIZE_EXCEEDED:
    // So libcurl calls a header line that it finds too long.
    case CURLE_OUT_OF_MEMORY:
      return NSURLErrorDataLengthExceedsMaximum;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS:
      return NSURLErrorServerCertificateUntrusted;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_SHUTDOWN_FAILED:
      return NSURLErrorSecureConnectionFailed;
    default:
      return NSURLErrorUnknown;
  }
}

}  // namespace

ErrorPtr urlError(NSURLErrorCode code, const std::string& address, ErrorPtr underlying,
                  std::optional<std::string> text) {
  Dictionary userInfo{{NSLocalizedDescriptionKey, text.value_or(sentence(code))}};
  setIfPresent(userInfo, "NSErrorFailingURLStringKey", withoutCredentials(address));
  return NSError::errorWithDomain(NSURLErrorDomain, code, std::move(userInfo),
                                  std::move(underlying));
}

ErrorPtr curlError(CURLcode code, const std::string& detail, const std::string& address,
                   const std::string& lastAddress) {
  const std::string text = detail.empty() ? curl_easy_strerror(code) : detail;
  const bool leftTheWeb = addressKind(lastAddress) == AddressKind::OtherScheme;
  return urlError(leftTheWeb ? NSURLErrorUnsupportedURL : codeOf(code), address,
                  NSError::errorWithDomain("libcurl", code, {{NSLocalizedDescriptionKey, text}}));
}

}  // namespace quillfold
