#include "tests/apps/backend/backend_fixture.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <stdexcept>

#include "tests/model/model_fixture.h"

namespace quillfold::backend {
namespace {

Reply replyOf(const httplib::Result& result) {
  if (!result) return {};
  return {result->status, result->body, result->headers};
}

// STATUS PLACE TYPE of the only fault that is told.
std::string refusalOf(const Reply& reply) {
  const json detail = reply.body()["detail"];
  if (detail.size() != 1 || !detail[0]["msg"].is_string()) return reply.text;
  std::string out = std::to_string(reply.status) + ' ';
  for (const auto& part : detail[0]["loc"])
    out += "/" + part.dump();
  out += " " + detail[0]["type"].dump();
  std::erase(out, '"');
  return out;
}

}  // namespace

json tokenRequest(const std::string& user) {
  return {{"user_id", user}, {"device_info", {{"device_id", "D1"}}}, {"expiry_seconds", 86400}};
}

json keyRequest(const std::string& key) {
  return {{"api_key", key},
          {"user_info", {{"userId", "u1"}, {"email", "a@b.example"}}},
          {"device_info",
           {{"device_id", "D1"},
            {"device_model", "iPhone"},
            {"os_version", "16"},
            {"platform", "iOS"}}}};
}

json sourceRequest(const std::string& organization, const std::string& identifier) {
  const json device = keyRequest("k")["device_info"];
  return {
      {"organization_user_id", "u1"},
      {"source_data",
       {{"name", "My device"},
        {"source_type", "device"},
        {"identifier", identifier},
        {"is_active", true},
        {"organization_id", organization},
        {"settings", {{"device_info", device}, {"contact_authorization_status", "authorized"}}}}}};
}

json uploadContact(const std::string& id) {
  static const std::string upload = [] {
    const testing::FakePlatform platform;
    const auto contact = testing::everyField();
    contact->phoneNumbers()[0]->setEmoji("x");
    contact->setPreviousFamilyName({});  // A null, as every real upload has one.
    return testing::compact(contact->toServerContactWithOrganizationId("o1", "s1"));
  }();
  json contact = json::parse(upload);
  contact["id"] = contact["source_contact_id"] = id;
  return contact;
}

json contactWith(const std::string& id, const char* email, const char* phone) {
  json contact = uploadContact(id);
  for (const auto& [list, value] :
       {std::pair("email_addresses", email), std::pair("phone_numbers", phone)}) {
    contact[list].erase(1);
    contact[list][0]["value"] = value;
  }
  return contact;
}

json changed(json document, const std::string& pointer, const std::string& value) {
  json operation = {{"op", value.empty() ? "remove" : "add"}, {"path", pointer}};
  if (!value.empty()) operation["value"] = json::parse(value);
  // Adding to an array would insert.
  if (document.contains(json::json_pointer(pointer)) && !value.empty()) operation["op"] = "replace";
  return document.patch(json::array({operation}));
}

void BackendTest::restart() {
  options.now = [this] { return now.load(); };
  client_.reset();
  server_ = std::make_unique<BackendServer>(options);
  server_->start();
}

BackendServer& BackendTest::server() {
  if (!server_) restart();
  return *server_;
}

httplib::Client& BackendTest::client() {
  if (!client_) {
    client_ = std::make_unique<httplib::Client>("127.0.0.1", server().port());
    client_->set_keep_alive(true);
    client_->set_tcp_nodelay(true);
  }
  return *client_;
}

Reply BackendTest::get(const std::string& path) {
  return replyOf(client().Get(path, authorization));
}

Reply BackendTest::post(const std::string& path, const json& body) {
  return postText(path, body.dump());
}

Reply BackendTest::postText(const std::string& path, const std::string& body,
                            const std::string& type) {
  return replyOf(client().Post(path, authorization, body, type));
}

Reply BackendTest::put(const std::string& path, const json& body) {
  return replyOf(client().Put(path, authorization, body.dump(), "application/json"));
}

Reply BackendTest::remove(const std::string& path) {
  return replyOf(client().Delete(path, authorization));
}

Reply BackendTest::sync(const std::vector<json>& contacts, bool skipDuplicates) {
  return post(kSyncPath, {{"contacts", contacts}, {"skip_duplicates", skipDuplicates}});
}

json BackendTest::list(const std::string& path) {
  return get("/api/v1/" + path).body()["data"];
}

std::vector<std::string> BackendTest::each(const std::string& pointer, const std::string& path) {
  std::vector<std::string> values;
  for (const json entries = list(path); const json& entry : entries)
    values.push_back(entry.at(json::json_pointer(pointer)).get<std::string>());
  return values;
}

void BackendTest::expectRefused(const char* path, const json& good, const std::string& at,
                                const Faults& faults) {
  for (const auto& [type, ofType] : faults) {
    for (const std::string& fault : ofType) {
      const auto equals = fault.find('=');
      const std::string pointer = at + fault.substr(0, equals);
      const std::string value = equals == std::string::npos ? "" : fault.substr(equals + 1);
      const Reply reply = post(path, changed(good, pointer, value));
      EXPECT_EQ(refusalOf(reply), "422 /body" + pointer + " " + type) << fault;
    }
  }
}

void BackendTest::signIn(const std::string& user, const json& info) {
  authorization.clear();
  json request = tokenRequest(user);
  if (!info.is_null()) request["user_info"] = info;
  const json data = post(kTokenPath, request).body().at("data");
  authorization.emplace("Authorization", "Bearer " + data.at("token").get<std::string>());
}

std::string BackendTest::organization() {
  return get(kUserPath).body().at("organization_id").get<std::string>();
}

RawConnection::RawConnection(int port, const std::string& bytes)
    : stream_(fdopen(socket(AF_INET, SOCK_STREAM, 0), "r"), fclose) {
  sockaddr_in address{AF_INET, htons(static_cast<std::uint16_t>(port)), {}, {}};
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int number = fileno(stream_.get());
  if (connect(number, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    throw std::runtime_error("cannot connect");
  }
  EXPECT_EQ(send(number, bytes.data(), bytes.size(), MSG_NOSIGNAL), std::ssize(bytes));
}

std::string RawConnection::readAll() {
  std::string all;
  for (int next = 0; (next = fgetc(stream_.get())) != EOF;)
    all += static_cast<char>(next);
  return all;
}

}  // namespace quillfold::backend
