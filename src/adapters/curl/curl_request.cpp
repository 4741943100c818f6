#include "adapters/curl/curl_request.h"

#include <strings.h>

#include <string_view>

#include "adapters/curl/curl_error.h"
#include "adapters/curl/curl_url.h"
#include "foundation/format.h"

namespace quillfold {

namespace {

constexpr std::string_view kBlank = " \t";

bool isToken(std::string_view text) {
  constexpr std::string_view kTokenCharacters =
      "!#$%&'*+-.^_`|~0123456789"
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  return !text.empty() && text.find_first_not_of(kTokenCharacters) == std::string_view::npos;
}

bool isFieldValue(std::string_view text) {
  constexpr std::string_view kLineEnds("\r\n\0", 3);
  return text.find_first_of(kLineEnds) == std::string_view::npos;
}

bool isField(const std::string& name, const char* other) {
  return strcasecmp(name.c_str(), other) == 0;
}

// What tells how the body comes is true only if it comes from here.
bool isOurs(const std::string& name) {
  return isField(name, "Content-Length") || isField(name, "Transfer-Encoding") ||
         isField(name, "Expect");
}

// Blanks around a value are not part of it, and libcurl takes a blank value for
// the wish to leave the header out; a semicolon makes it send the empty one.
std::string headerLine(const std::string& name, std::string_view value) {
  const std::size_t first = value.find_first_not_of(kBlank);
  if (first == std::string_view::npos) return name + ';';
  value = value.substr(first, value.find_last_not_of(kBlank) + 1 - first);
  return fmt::format("{}: {}", name, value);
}

std::vector<std::string> headerLines(const NSMutableURLRequest& request) {
  // Waiting for "100 Continue" would cost a second with servers that never say it.
  std::vector<std::string> lines{"Expect:"};
  bool typed = false;
  for (const auto& [name, value] : request.headers) {
    if (isOurs(name)) continue;
    typed = typed || isField(name, "Content-Type");
    lines.push_back(headerLine(name, value));
  }
  // A body without a type is not a form.
  if (!typed) lines.emplace_back("Content-Type:");
  return lines;
}

// Whether the request says how long its body is, be it empty.
bool carriesBody(const NSMutableURLRequest& request) {
  const std::string& method = request.httpMethod;
  return (request.httpBody && !request.httpBody->empty()) || method == "POST" || method == "PUT" ||
         method == "PATCH";
}

void setMethod(CurlEasy& easy, const std::string& method, bool body) {
  if (method == "HEAD") easy.set(CURLOPT_NOBODY, 1L);
  if (method == "POST") {
    easy.set(CURLOPT_POST, 1L);
  } else if (method != "GET" || body) {
    easy.set(CURLOPT_CUSTOMREQUEST, method.c_str());
    // Only POST turns into GET: every other method keeps its body with itself.
    easy.set(CURLOPT_POSTREDIR, long{CURL_REDIR_POST_301 | CURL_REDIR_POST_302});
  }
}

}  // namespace

ErrorPtr checkRequest(const NSMutableURLRequest& request) {
  const auto bad = [&](std::string text) {
    return urlError(NSURLErrorBadURL, request.url, nullptr, std::move(text));
  };
  switch (addressKind(request.url)) {
    case AddressKind::Malformed:
      return urlError(NSURLErrorBadURL, request.url);
    case AddressKind::OtherScheme:
      return urlError(NSURLErrorUnsupportedURL, request.url);
    case AddressKind::Web:
      break;
  }
  if (!isToken(request.httpMethod)) return bad("The method of the request is not valid.");
  // libcurl would leave it out without a word.
  if (request.httpMethod == "HEAD" && carriesBody(request)) return bad("HEAD takes no body.");
  for (const auto& [name, value] : request.headers) {
    if (!isToken(name)) return bad("The request has a header with an invalid name.");
    // The value may be a secret and is not told.
    if (!isFieldValue(value)) {
      return bad(fmt::format("The value of the header \"{}\" is not valid.", name));
    }
  }
  return nullptr;
}

void prepareRequest(CurlEasy& easy, const NSMutableURLRequest& request) {
  const bool body = carriesBody(request);
  easy.set(CURLOPT_URL, request.url.c_str());
  easy.set(CURLOPT_PATH_AS_IS, 1L);
  easy.setList(CURLOPT_HTTPHEADER, headerLines(request));
  setMethod(easy, request.httpMethod, body);
  if (!body) return;
  const std::string_view bytes = request.httpBody ? request.httpBody->bytes() : std::string_view();
  easy.set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(bytes.size()));
  easy.set(CURLOPT_POSTFIELDS, bytes.empty() ? "" : bytes.data());
}

void followMethod(CurlEasy& easy, long status) {
  // libcurl lets a custom method live on, without its body.
  if (status == 303) easy.set(CURLOPT_CUSTOMREQUEST, nullptr);
}

}  // namespace quillfold
