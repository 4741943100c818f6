// The token, the user behind it, the description of the device and the calls that
// belong to the session.
#include <thread>

#include "core/device_identifier.h"
#include "tests/api/api_fixture.h"

namespace quillfold::testing {
namespace {

class SessionTest : public ApiTest {
 protected:
  Outcome<OptionalString> refresh() {
    return run<OptionalString>(
        [this](auto done) { client->refreshTokenWithCompletionHandler(done); });
  }
};

TEST_F(SessionTest, ATokenIsKeptUntilTheInstantOfItsEnd) {
  answers[kTokenPath] = {200, R"({"data":{"token":"one","expires_at":1700000100}})"};
  EXPECT_EQ(refresh().place, Place::MainQueue);
  platform.clock->seconds = 1'700'000'099.9;
  Outcome<OptionalString> cached;
  client->refreshTokenWithCompletionHandler(cached.capture());
  EXPECT_EQ(cached.result, "one") << "the token in memory is given at once";
  answers["/x"] = {401, ""};
  client->get("/x", {}, true, [](const auto&...) {});
  EXPECT_EQ(platform.sessions->last("/x")->header("Authorization"), "Bearer one");
  platform.settle();
  EXPECT_EQ(client->token(), "one") << "a rejection changes nothing";
  EXPECT_EQ(platform.sessions->count(kTokenPath), 1u);

  platform.clock->seconds = 1'700'000'100;
  answers[kTokenPath] = {200, R"({"data":{"token":"x"}})"};
  EXPECT_EQ(refresh().end(), kUnreadable);
  EXPECT_EQ(client->token(), "one") << "a failed fetch leaves the old one in place";
  EXPECT_EQ(client->tokenExpiryDate()->timeIntervalSince1970(), 1'700'000'100);

  // A date text reads as a second of 1970, so each request fetches anew.
  answers[kTokenPath] = {200, R"({"data":{"token":"two","expires_at":"2099-01-01T00:00:00Z"}})"};
  EXPECT_EQ(refresh().result, "two");
  EXPECT_EQ(refresh().result, "two");
  EXPECT_EQ(platform.sessions->count(kTokenPath), 4u);
}

TEST_F(SessionTest, TwoThatFindNoTokenFetchTwoAndTheLaterWins) {
  Outcome<OptionalString> first, second;
  client->refreshTokenWithCompletionHandler(first.capture());
  client->refreshTokenWithCompletionHandler(second.capture());
  ASSERT_EQ(platform.sessions->count(kTokenPath), 2u);
  platform.sessions->tasks[1]->answer(200, R"({"data":{"token":1,"expires_at":"9e9"}})");
  platform.settle();
  EXPECT_EQ(*second.result + *first.result, "1T");
  EXPECT_EQ(client->token(), "T");
}

TEST_F(SessionTest, TheTokenRequestNamesUserAndDevice) {
  const auto sent = [this] {
    client = QFAPIClient::initWithUserId("U");
    EXPECT_EQ(refresh().end(), "ok");
    return platform.sessions->last(kTokenPath)->json().description();
  };
  const std::string named = "{device_info: " + description(client->deviceInfo()->asDictionary()) +
                            R"(, expiry_seconds: 86400, user_id: "U")";
  platform.defaults->setObject(Data("{no json"), defaults_keys::kUserInfo);
  EXPECT_EQ(sent(), named + "}");
  platform.defaults->setObject(Data(R"({"userId":"u"})"), defaults_keys::kUserInfo);
  EXPECT_EQ(sent(), named + R"(, user_info: {userId: "u"}})");
  // Reads alone, but is nested too deeply inside a request.
  platform.defaults->setObject(Data(std::string(512, '[') + std::string(512, ']')),
                               defaults_keys::kUserInfo);
  client = QFAPIClient::initWithUserId("U");
  EXPECT_EQ(refresh().end(), kUnreadable);
  EXPECT_EQ(refresh().place, Place::MainQueue);
}

TEST_F(SessionTest, TheSharedClientKeepsItsFirstUser) {
  platform.defaults->removeObjectForKey(defaults_keys::kUserId);
  const std::string invented = QFAPIClient::sharedInstance()->userId();
  EXPECT_EQ(invented.size(), 36u);
  EXPECT_FALSE(platform.defaults->objectForKey(defaults_keys::kUserId));
  platform.defaults->setObject("late", defaults_keys::kUserId);
  EXPECT_EQ(QFAPIClient::sharedInstance()->userId(), invented);
}

TEST_F(SessionTest, OneDeviceIdentifierWhoeverAsksFirst) {
  platform.defaults->removeObjectForKey(defaults_keys::kDeviceIdentifier);
  std::string other;
  std::thread thread([&other] { other = storedDeviceIdentifier(IdentifierCase::Lower); });
  const std::string own = client->deviceIdentifier();
  thread.join();
  EXPECT_EQ(own, other);
  EXPECT_EQ(QFDeviceInfo::init()->deviceId(), own);
  EXPECT_EQ(client->fullSourceIdentifier(), "device_" + own);
  EXPECT_EQ(platform.defaults->stringForKey("com.quillfold.deviceIdentifier"), own);
}

TEST_F(SessionTest, TheDeviceDescribesItself) {
  const std::string id = R"("device_id":")" + client->deviceIdentifier() + R"(","hardware_id":")" +
                         client->deviceIdentifier() + R"(","device_model":"iPhone",
      "device_manufacturer":"Apple","os_name":"TestOS","os_version":"7.1","network_type":"wifi",
      "locale":"en_US","timezone":"Europe/Berlin",)";
  const auto read = [] { return description(QFDeviceInfo::init()->asDictionary()); };
  EXPECT_EQ(read(), described("{" + id + R"("device_name":"Unknown iOS Device",
      "device_model_id":"x86_64","screen_width":0,"screen_height":0,"screen_density":0,
      "app_version":"1.0","app_build":"1","app_id":"com.quillfold.app"})"));
  FakeDevice& device = *platform.device;
  device.machineName = "iPhone15,5";
  device.screen = UIScreen{390.4, 844, 3};
  device.bundle = {"2.1", "77", "org.host"};
  device.memory = 8'000'000'000;
  device.processors = 6;
  device.level = 0;
  device.state = UIDeviceBatteryStateUnplugged;
  device.monitoring.clear();
  EXPECT_EQ(read(), described("{" + id + R"("device_name":"iPhone 14 Plus",
      "device_model_id":"iPhone15,5","screen_width":1171,"screen_height":2532,"screen_density":3,
      "app_version":"2.1","app_build":"77","app_id":"org.host","total_memory":8000000000,
      "cpu_count":6,"battery_level":0,"is_charging":0})"));
  EXPECT_EQ(device.monitoring, (std::vector{true, false}));
  device.state = UIDeviceBatteryStateFull;
  EXPECT_EQ(QFDeviceInfo::init()->isCharging(), 1);
}

TEST_F(SessionTest, VerdictsOnTheKey) {
  const std::string path = "/api/v1/client/validate-key";
  const auto validate = [this](const char* key, const QFUserInfoPtr& user) {
    const auto outcome =
        run<bool>([&](auto done) { client->validateAPIKey(key, "host token", user, done); });
    EXPECT_EQ(outcome.result, outcome.end() == "ok");
    return (outcome.place == Place::Caller ? "at once " : "") + outcome.end();
  };
  const auto invalid = QFUserInfo::initWithUserId("u", {}, {}, {});
  EXPECT_EQ(validate("", invalid), "at once 9 API key cannot be empty");
  EXPECT_EQ(validate("k", invalid), "at once 7 Invalid user information");
  EXPECT_EQ(validate("k", nullptr), "at once 7 Invalid user information");
  const auto user = QFUserInfo::initWithUserId("u", "Full", "e@x", std::nullopt);
  const std::pair<const char*, const char*> verdicts[] = {
      {R"({"valid":false})", "ok"},
      {R"({"status":1,"data":{"valid":null}})", "ok"},
      {R"({"status":1,"data":{"message":"gone"}})", "10 gone"},
      {"{}", "10 API key validation failed"},
      {"[]", "8 Invalid response format"},
      {"text", "8 Invalid response format"},
  };
  for (const auto& [body, verdict] : verdicts) {
    answers[path] = {200, body};
    EXPECT_EQ(validate("k", user), verdict) << body;
  }
  EXPECT_EQ(platform.sessions->last(path)->json().description(),
            R"({api_key: "k", device_info: {device_id: ")" + client->deviceIdentifier() +
                R"(", device_model: "iPhone", os_version: "7.1", platform: "iOS"}, )"
                R"(user_info: {email: "e@x", userId: "u"}})");
}

TEST_F(SessionTest, Health) {
  const auto told = [this](const char* body) {
    std::optional<bool> healthy;
    answers["/health"] = {200, body};
    client->checkHealthWithCompletion([&healthy](bool value) { healthy = value; });
    client->checkHealthWithCompletion({});
    platform.settle();
    return healthy;
  };
  EXPECT_EQ(told(R"({"status":"success"})"), true);
  EXPECT_EQ(told(R"({"status":0,"data":{"status":"success"}})"), true);
  for (const char* sick : {R"({"status":"ok"})", R"({"status":"success","data":{}})", "[]", ""}) {
    EXPECT_EQ(told(sick), false) << sick;
  }
  EXPECT_EQ(platform.sessions->count(kTokenPath), 0u);
}

}  // namespace
}  // namespace quillfold::testing
