// The token, the user behind it, the description of the device and the calls that
// belong to the session.
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
  Outcome<OptionalString> first, second, cached;
  client->refreshTokenWithCompletionHandler(first.capture());
  client->refreshTokenWithCompletionHandler(second.capture());
  platform.sessions->tasks.at(1)->answer(200, R"({"data":{"token":7,"expires_at":"9e9"}})");
  platform.settle();
  EXPECT_EQ(*second.result + *first.result, "7one") << "each has fetched, the later answer stays";
  platform.clock->seconds = 1'700'000'099.9;
  client->refreshTokenWithCompletionHandler(cached.capture());
  EXPECT_EQ(cached.result, "one") << "the token in memory is given at once";
  answers["/x"] = {401, ""};
  client->get("/x", {}, true, [](const auto&...) {});
  EXPECT_EQ(platform.sessions->last("/x")->header("Authorization"), "Bearer one");
  platform.settle();
  EXPECT_EQ(client->token(), "one") << "a rejection changes nothing";
  EXPECT_EQ(platform.sessions->count(kTokenPath), 2u);

  platform.clock->seconds = 1'700'000'100;
  answers[kTokenPath] = {200, R"({"data":{"token":"x"}})"};
  EXPECT_EQ(refresh().end(), kUnreadable);
  EXPECT_EQ(client->token(), "one") << "a failed fetch leaves the old one in place";

  // A date text reads as a second of 1970, so each request fetches anew.
  answers[kTokenPath] = {200, R"({"data":{"token":"two","expires_at":"2099-01-01T00:00:00Z"}})"};
  EXPECT_EQ(refresh().result, "two");
  EXPECT_EQ(refresh().result, "two");
  EXPECT_EQ(platform.sessions->count(kTokenPath), 5u);
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

TEST_F(SessionTest, TheSharedClientKeepsItsFirstUserAndTheDeviceItsIdentifier) {
  platform.defaults->removeObjectForKey(defaults_keys::kUserId);
  const std::string invented = QFAPIClient::sharedInstance()->userId();
  EXPECT_FALSE(platform.defaults->objectForKey(defaults_keys::kUserId));
  platform.defaults->setObject("late", defaults_keys::kUserId);
  EXPECT_EQ(QFAPIClient::sharedInstance()->userId(), invented);
  platform.defaults->removeObjectForKey("com.quillfold.deviceIdentifier");
  const std::string deviceId = QFDeviceInfo::init()->deviceId();
  EXPECT_EQ(client->fullSourceIdentifier(), "device_" + deviceId);
  EXPECT_EQ(QFDeviceInfo::init()->deviceId(), deviceId);
  EXPECT_EQ(platform.defaults->synchronizations, 1);
  EXPECT_EQ(client->deviceIdentifier().size(), 36u);
}

TEST_F(SessionTest, TheDeviceDescribesItself) {
  FakeDevice& device = *platform.device;
  device.screen = UIScreen{390.4, 844, 3};
  device.memory = 8'000'000'000;
  device.processors = 6;
  device.level = 0;
  device.state = UIDeviceBatteryStateUnplugged;
  expectObject(QFDeviceInfo::init()->asDictionary(), R"({"device_id":"D","hardware_id":"D",
      "device_name":"Unknown iOS Device","device_model":"iPhone","device_manufacturer":"Apple",
      "device_model_id":"x86_64","os_name":"TestOS","os_version":"7.1","screen_width":1171,
      "screen_height":2532,"screen_density":3,"network_type":"wifi","app_version":"1.0",
      "app_build":"1","app_id":"com.quillfold.app","locale":"en_US","timezone":"Europe/Berlin",
      "total_memory":8000000000,"cpu_count":6,"battery_level":0,"is_charging":0})");
  EXPECT_EQ(device.monitoring, (std::vector{true, false, true, false}));
  EXPECT_EQ(client->deviceInfo()->asDictionary().size(), 17u) << "what is absent is left out";
  device.bundle = {"2.1", "77", "org.host"};
  std::string names;
  for (const char* model : {"14,2", "14,3", "14,4", "14,5", "15,2", "15,3", "15,4", "15,5"}) {
    device.machineName = std::string("iPhone") + model;
    device.state = names.empty() ? UIDeviceBatteryStateFull : UIDeviceBatteryStateCharging;
    const auto info = QFDeviceInfo::init();
    names += info->deviceName() + "; ";
    EXPECT_EQ(info->appVersion() + info->appBuild() + info->appId(), "2.177org.host");
    EXPECT_EQ(info->isCharging(), 1);
  }
  EXPECT_EQ(names,
            "iPhone 13 Pro; iPhone 13 Pro Max; iPhone 13 mini; iPhone 13; iPhone 14 Pro; "
            "iPhone 14 Pro Max; iPhone 14; iPhone 14 Plus; ");
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
  const auto user = QFUserInfo::initWithUserId("u", "Full", "e@x", "+1");
  answers[path] = {200, R"({"valid":false})"};
  EXPECT_EQ(validate("k", user), "ok");
  answers[path] = {200, R"({"status":1,"data":{"message":"gone"}})"};
  EXPECT_EQ(validate("k", user), "10 gone");
  expectObject(platform.sessions->last(path)->json(), R"({"api_key":"k","device_info":{
      "device_id":"D","device_model":"iPhone","os_version":"7.1","platform":"iOS"},
      "user_info":{"email":"e@x","phone":"+1","userId":"u"}})");
  EXPECT_EQ(platform.sessions->last(path)->request().httpMethod, "POST");
}

}  // namespace
}  // namespace quillfold::testing
