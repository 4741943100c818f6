#include "tests/apps/backend/backend_fixture.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

namespace quillfold::backend {
namespace {

Reply replyOf(const httplib::Result& result) {
  if (!result) return {};
  return {result->status, result->body, result->headers};
}

std::string pointerOf(const json& location) {
  std::string pointer;
  for (const auto& part : location) {
    pointer += "/" + (part.is_string() ? part.get<std::string>() : part.dump());
  }
  return pointer;
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
  json contact = json::parse(R"({
    "display_name": "Ann Lee", "given_name": "Ann", "family_name": "Lee", "name_prefix": "",
    "name_suffix": "", "middle_name": "", "previous_family_name": null, "nickname": "",
    "notes": "", "bio": null, "location": null, "contact_section": "#", "organization_id": "o1",
    "source_id": "s1", "organization_name": "", "department_name": null, "job_title": null,
    "contact_type": 0, "birthday": "1990-02-03",
    "dates": [{"id": null, "label": "Anniversary", "date": "2001-01-01", "is_primary": false}],
    "phone_numbers": [
      {"type": "mobile", "label": "mobile", "value": "+1 2", "is_primary": 1, "emoji": "x"},
      {"type": "home", "label": "home", "value": "", "is_primary": 0}],
    "email_addresses": [{"type": "home", "label": "home", "value": "a@b", "is_primary": 1}],
    "addresses": [{"type": "home", "label": "home", "street_address": "1 Road",
      "extended_address": null, "city": null, "region": null, "postal_code": "", "country": "X",
      "is_primary": 1}],
    "urls": [{"type": "other", "label": "other", "value": "https://x", "is_primary": 1}],
    "social_profiles": [{"platform": "p", "label": "p", "username": "ann", "url": null}],
    "instant_message_addresses": [{"service": "s", "label": "s", "username": ""}],
    "relations": [{"name": "Bo", "relation_type": "Brother", "notes": null}],
    "tags": [], "custom_fields": {}, "match_string": "ann lee"})");
  contact["id"] = contact["source_contact_id"] = id;
  return contact;
}

json contactWith(const std::string& id, const char* email, const char* phone) {
  json contact = uploadContact(id);
  contact["email_addresses"][0]["value"] = email;
  contact["phone_numbers"][0]["value"] = phone;
  return contact;
}

json recordContact() {
  return json::parse(R"({
    "display_name": "Bo", "nickname": "", "notes": "", "organization_id": "o1", "source_id": "s1",
    "contact_type": 1, "tags": ["t"], "custom_fields": {"any": [1, null]},
    "dates": [{"label": "d", "date": "2001-01-01", "is_primary": true}],
    "phone_numbers": [{"id": "1", "type": "home", "label": "home", "value": "1",
      "is_primary": true, "emoji": "x", "phone_id": "p"}],
    "email_addresses": [{"type": "h", "label": "h", "value": "v", "is_primary": false,
      "email_id": "e"}],
    "urls": [{"type": "h", "label": "h", "value": "v", "is_primary": false, "url_id": "u"}],
    "addresses": [{"label": "home", "is_primary": false}, {"is_primary": false}],
    "social_profiles": [{"id": "1", "platform": "p"}],
    "instant_message_addresses": [{"service": "s", "user_identifier": "i", "type": "t",
      "is_primary": false}],
    "relations": [{"id": "1", "name": "n", "relation_type": "r"}]})");
}

json changed(json document, const std::string& pointer, const std::string& value) {
  json operation = {{"op", value.empty() ? "remove" : "add"}, {"path", pointer}};
  if (!value.empty()) operation["value"] = json::parse(value);
  // Adding to an array would insert.
  if (document.contains(json::json_pointer(pointer)) && !value.empty()) operation["op"] = "replace";
  return document.patch(json::array({operation}));
}

void BackendTest::startWith(BackendOptions options) {
  options.now = [this] { return now.load(); };
  client_.reset();
  server_ = std::make_unique<BackendServer>(std::move(options));
  server_->start();
}

BackendServer& BackendTest::server() {
  if (!server_) startWith({});
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

void BackendTest::expectRefused(const char* path, const json& good, const std::string& at,
                                const Faults& faults) {
  for (const auto& [type, ofType] : faults) {
    for (const std::string& fault : ofType) {
      const auto equals = fault.find('=');
      const std::string pointer = at + fault.substr(0, equals);
      const std::string value = equals == std::string::npos ? "" : fault.substr(equals + 1);
      const Reply reply = post(path, changed(good, pointer, value));
      EXPECT_EQ(reply.status, 422) << fault;
      const json detail = reply.body()["detail"];
      ASSERT_EQ(detail.size(), 1u) << fault << reply.text;
      EXPECT_EQ(pointerOf(detail[0]["loc"]), "/body" + pointer);
      EXPECT_EQ(detail[0]["type"], type) << fault;
      EXPECT_TRUE(detail[0]["msg"].is_string());
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

RawConnection::RawConnection(int port) : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    throw std::runtime_error("cannot connect");
  }
}

RawConnection::~RawConnection() {
  close(socket_);
}

void RawConnection::send(const std::string& bytes) {
  for (std::size_t sent = 0; sent < bytes.size();) {
    const ssize_t count = ::send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (count <= 0) throw std::runtime_error("cannot send");
    sent += static_cast<std::size_t>(count);
  }
}

std::string RawConnection::readAll() {
  std::string all;
  char buffer[4096];
  for (ssize_t count = 0; (count = recv(socket_, buffer, sizeof buffer, 0)) > 0;) {
    all.append(buffer, static_cast<std::size_t>(count));
  }
  return all;
}

}  // namespace quillfold::backend
