#include "adapters/curl/curl_transfer.h"

#include <algorithm>

#include "adapters/curl/curl_error.h"
#include "adapters/curl/curl_request.h"

namespace quillfold {

namespace {

// No limit is a limit of 30 years: far away, and near enough to add to any clock.
CurlTransfer::Clock::duration limit(double seconds) {
  constexpr double kFarAway = 1e9;
  const double finite = seconds > 0 ? std::min(seconds, kFarAway) : kFarAway;
  return std::chrono::duration_cast<CurlTransfer::Clock::duration>(
      std::chrono::duration<double>(finite));
}

}  // namespace

CurlTransfer::CurlTransfer(const NSMutableURLRequest& request, const CurlOptions& options,
                           const NSURLSessionConfiguration& configuration)
    : request_(request),
      maximumBodySize_(options.maximumBodySize),
      idleLimit_(limit(configuration.timeoutIntervalForRequest)),
      end_(Clock::now() + limit(configuration.timeoutIntervalForResource)),
      lastActivity_(Clock::now()) {
  setConnection(options);
  setCallbacks();
  prepareRequest(easy_, request_);
  // An answer to HEAD announces a body that does not come.
  if (request_.httpMethod != "HEAD") {
    easy_.set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(maximumBodySize_));
  }
}

void CurlTransfer::setConnection(const CurlOptions& options) {
  easy_.set(CURLOPT_NOSIGNAL, 1L);
  easy_.set(CURLOPT_PROTOCOLS_STR, "http,https");
  easy_.set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  easy_.set(CURLOPT_FOLLOWLOCATION, 1L);
  easy_.set(CURLOPT_MAXREDIRS, 20L);
  easy_.set(CURLOPT_ACCEPT_ENCODING, "");
  easy_.set(CURLOPT_HTTP09_ALLOWED, 0L);
  // A cancelled task must not make the others wait for its name server.
  easy_.set(CURLOPT_QUICK_EXIT, 1L);
  easy_.set(CURLOPT_SSL_VERIFYPEER, 1L);
  easy_.set(CURLOPT_SSL_VERIFYHOST, 2L);
  easy_.set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  if (!options.proxy.empty()) easy_.set(CURLOPT_PROXY, options.proxy.c_str());
  if (!options.certificateFile.empty()) {
    easy_.set(CURLOPT_CAINFO, options.certificateFile.c_str());
    // The folder of the system's certificates would be trusted as well.
    easy_.set(CURLOPT_CAPATH, nullptr);
  }
  std::vector<std::string> connectTo;
  for (const auto& [from, to] : options.connectTo)
    connectTo.push_back(from + ':' + to);
  easy_.setList(CURLOPT_CONNECT_TO, connectTo);
}

void CurlTransfer::setCallbacks() {
  void* const self = this;
  easy_.set(CURLOPT_ERRORBUFFER, &detail_[0]);
  easy_.set(CURLOPT_HEADERFUNCTION, &CurlTransfer::onHeader);
  easy_.set(CURLOPT_HEADERDATA, self);
  easy_.set(CURLOPT_WRITEFUNCTION, &CurlTransfer::onBody);
  easy_.set(CURLOPT_WRITEDATA, self);
  easy_.set(CURLOPT_XFERINFOFUNCTION, &CurlTransfer::onProgress);
  easy_.set(CURLOPT_XFERINFODATA, self);
  easy_.set(CURLOPT_NOPROGRESS, 0L);
}

std::size_t CurlTransfer::onHeader(char*, std::size_t size, std::size_t count, void* self) {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  transfer.lastActivity_ = Clock::now();
  followMethod(transfer.easy_, transfer.easy_.info<long>(CURLINFO_RESPONSE_CODE));
  return size * count;
}

std::size_t CurlTransfer::onBody(char* bytes, std::size_t size, std::size_t count, void* self) {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  const std::size_t length = size * count;
  // Taking less than was offered ends the transfer with CURLE_WRITE_ERROR.
  if (length > transfer.maximumBodySize_ - transfer.body_.size()) return 0;
  transfer.body_.append(bytes, length);
  return length;
}

// Counts the bytes on the wire: of a packed body onBody may see nothing for long.
int CurlTransfer::onProgress(void* self, curl_off_t, curl_off_t received, curl_off_t,
                             curl_off_t sent) {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  if (received != transfer.received_ || sent != transfer.sent_) {
    transfer.lastActivity_ = Clock::now();
    transfer.received_ = received;
    transfer.sent_ = sent;
  }
  return 0;
}

CurlTransfer::Clock::time_point CurlTransfer::deadline() const {
  return std::min(end_, lastActivity_ + idleLimit_);
}

URLResult CurlTransfer::takeResult(CURLcode code) {
  // Nothing else makes a callback of ours refuse bytes.
  if (code == CURLE_WRITE_ERROR) code = CURLE_FILESIZE_EXCEEDED;
  const auto* lastAddress = easy_.info<const char*>(CURLINFO_EFFECTIVE_URL);
  if (code != CURLE_OK) {
    return {{}, {}, curlError(code, detail_, request_.url, lastAddress ? lastAddress : "")};
  }
  const long status = easy_.info<long>(CURLINFO_RESPONSE_CODE);
  // A connection that was switched to another protocol carries no answer, and libcurl takes
  // more than three digits for a status behind "HTTP/2".
  if (status < 200 || status > 999)
    return {{}, {}, urlError(NSURLErrorBadServerResponse, request_.url)};
  return {Data(std::move(body_)), NSHTTPURLResponse{status}, nullptr};
}

}  // namespace quillfold
