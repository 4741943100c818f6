// A backend in this process and a client of it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <httplib.h>

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "apps/backend/backend_server.h"

namespace quillfold::backend {

using nlohmann::json;

inline constexpr const char* kTokenPath = "/api/v1/client/generate-token";
inline constexpr const char* kKeyPath = "/api/v1/client/validate-key";
inline constexpr const char* kUserPath = "/api/v1/client/user-info";
inline constexpr const char* kSourcePath = "/api/v1/client/contact-source";
inline constexpr const char* kSyncPath = "/api/v1/client/contacts/sync";

struct Reply {
  int status = 0;  // 0: no whole answer came.
  std::string text;
  httplib::Headers headers;

  json body() const { return json::parse(text, nullptr, false); }
};

// Requests of the forms that the library's client sends.
json tokenRequest(const std::string& user = "u1");
json keyRequest(const std::string& key);
json sourceRequest(const std::string& organization, const std::string& identifier = "device_D1");
json uploadContact(const std::string& id);  // As the library's upload writes it.
json contactWith(const std::string& id, const char* email, const char* phone = "");

// The document with another value (JSON text) at a pointer, or, for "", without it.
json changed(json document, const std::string& pointer, const std::string& value);

// Faults of a body by the type of their refusal; each is POINTER=VALUE, or
// POINTER alone for what is missing.
using Faults = std::map<std::string, std::vector<std::string>>;

class BackendTest : public ::testing::Test {
 protected:
  // A new server with the options as they are now; the first one starts by itself.
  void restart();
  BackendServer& server();
  httplib::Client& client();

  Reply get(const std::string& path);
  Reply post(const std::string& path, const json& body);
  Reply postText(const std::string& path, const std::string& body,
                 const std::string& type = "application/json");
  Reply put(const std::string& path, const json& body);
  Reply remove(const std::string& path);
  Reply sync(const std::vector<json>& contacts, bool skipDuplicates = false);

  // What a path below /api/v1 lists, and the texts under a pointer in each entry.
  json list(const std::string& path);
  std::vector<std::string> each(const std::string& pointer, const std::string& path);

  // Posts the good body with one fault after the other, pointers counted from
  // `at`, and expects each to be refused by its place and type.
  void expectRefused(const char* path, const json& good, const std::string& at,
                     const Faults& faults);

  // Asks for a token and sends it from now on; with user info if some is given.
  void signIn(const std::string& user = "u1", const json& info = nullptr);
  std::string organization();

  BackendOptions options;
  std::atomic<double> now{1700000000.25};
  httplib::Headers authorization;

 private:
  std::unique_ptr<BackendServer> server_;
  std::unique_ptr<httplib::Client> client_;
};

// A bare connection, for what no HTTP client would send or survive.
class RawConnection {
 public:
  explicit RawConnection(int port, const std::string& bytes = "");
  // Everything up to the end of the connection.
  std::string readAll();

 private:
  std::unique_ptr<FILE, int (*)(FILE*)> stream_;
};

}  // namespace quillfold::backend
