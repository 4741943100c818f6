#include "adapters/curl/curl_transfer.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "adapters/curl/curl_error.h"
#include "adapters/curl/curl_request.h"

namespace quillfold {

namespace {

// Of all answers to a task. Redirects have headers too, and libcurl keeps what it is told.
constexpr std::size_t kMaximumHeaderSize = 256 << 10;

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
  easy_.set(CURLOPT_PREREQFUNCTION, &CurlTransfer::onSend);
  easy_.set(CURLOPT_PREREQDATA, self);
  easy_.set(CURLOPT_HEADERFUNCTION, &CurlTransfer::onHeader);
  easy_.set(CURLOPT_HEADERDATA, self);
  easy_.set(CURLOPT_WRITEFUNCTION, &CurlTransfer::onBody);
  easy_.set(CURLOPT_WRITEDATA, self);
  easy_.set(CURLOPT_XFERINFOFUNCTION, &CurlTransfer::onProgress);
  easy_.set(CURLOPT_XFERINFODATA, self);
  easy_.set(CURLOPT_NOPROGRESS, 0L);
}

// libcurl sends a request again by itself if a kept connection breaks before a byte of the
// answer. What the first POST has done nobody knows.
int CurlTransfer::onSend(void* self, char*, char*, int, int) {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  const bool again = ++transfer.sendings_ > transfer.easy_.info<long>(CURLINFO_REDIRECT_COUNT) + 1;
  if (!again || transfer.request_.httpMethod != "POST") return CURL_PREREQFUNC_OK;
  transfer.refused_ = CURLE_GOT_NOTHING;
  return CURL_PREREQFUNC_ABORT;
}

std::size_t CurlTransfer::onHeader(char* line, std::size_t size, std::size_t count, void* self) {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  const std::string_view text(line, size * count);
  transfer.lastActivity_ = Clock::now();
  transfer.headerSize_ += text.size();
  if (transfer.headerSize_ > kMaximumHeaderSize) {
    transfer.refused_ = CURLE_FILESIZE_EXCEEDED;
    return 0;
  }
  if (text.starts_with("HTTP/")) transfer.inHeaders_ = true;
  if (text == "\r\n" || text == "\n") transfer.inHeaders_ = false;
  followMethod(transfer.easy_, transfer.easy_.info<long>(CURLINFO_RESPONSE_CODE));
  return text.size();
}

std::size_t CurlTransfer::onBody(char* bytes, std::size_t size, std::size_t count, void* self) {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  const std::size_t length = size * count;
  if (length > transfer.maximumBodySize_ - transfer.body_.size()) {
    transfer.refused_ = CURLE_FILESIZE_EXCEEDED;
    return 0;
  }
  transfer.body_.append(bytes, length);
  return length;
}

// Counts the bytes on the wire: of a packed body onBody may see nothing for long, and of one
// that comes with a redirect it sees nothing at all.
int CurlTransfer::onProgress(void* self, curl_off_t, curl_off_t received, curl_off_t,
                             curl_off_t sent) {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  if (received != transfer.received_ || sent != transfer.sent_) {
    transfer.lastActivity_ = Clock::now();
    transfer.received_ = received;
    transfer.sent_ = sent;
  }
  if (std::cmp_less_equal(received, transfer.maximumBodySize_)) return 0;
  transfer.refused_ = CURLE_FILESIZE_EXCEEDED;
  return 1;
}

CurlTransfer::Clock::time_point CurlTransfer::deadline() const {
  return std::min(end_, lastActivity_ + idleLimit_);
}

URLResult CurlTransfer::takeResult(CURLcode code) {
  if (refused_ != CURLE_OK) code = refused_;
  // To libcurl headers that break off are a whole answer without a body.
  if (code == CURLE_OK && inHeaders_) code = CURLE_PARTIAL_FILE;
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
