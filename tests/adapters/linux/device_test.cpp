#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <regex>

#include "adapters/linux/system.h"
#include "foundation/hash.h"
#include "foundation/uuid.h"
#include "tests/support/temporary_folder.h"

namespace quillfold {

TEST(DeviceData, TellsTheSystemAndTheBattery) {
  const TemporaryFolder root;
  utsname names{};
  ASSERT_EQ(uname(&names), 0);
  const auto device = makeDeviceData({}, {}, root.path(""));
  EXPECT_EQ(device->machine(), names.machine);
  EXPECT_EQ(device->systemName(), names.sysname);
  EXPECT_EQ(device->systemVersion(), names.release);
  EXPECT_GT(device->physicalMemory().value(), 1U << 20);

  root.write("etc/os-release",
             "# NAME=no\nNAME=\"A \\\"B\\\" Linux\"\nVERSION_ID='12'\n=\n\nODD\n");
  EXPECT_EQ(device->systemName(), "A \"B\" Linux");
  EXPECT_EQ(device->systemVersion(), "12");

  const std::string supplies = "sys/class/power_supply/";
  root.write(supplies + "AC/type", "Mains\n");
  root.write(supplies + "A-mouse/type", "Battery\n");
  root.write(supplies + "A-mouse/scope", "Device\n");
  root.write(supplies + "A-mouse/capacity", "5\n");
  EXPECT_LT(device->batteryLevel(), 0);
  EXPECT_EQ(device->batteryState(), UIDeviceBatteryStateUnknown);
  root.write(supplies + "BAT0/type", "Battery\n");
  for (const auto& [status, state] : std::map<std::string, std::int64_t>{
           {"Charging", 2}, {"Full", 3}, {"Discharging", 1}, {"Not charging", 1}, {"Odd", 0}}) {
    root.write(supplies + "BAT0/status", status + "\n");
    EXPECT_EQ(device->batteryState(), state) << status;
  }
  for (const auto& [capacity, level] : std::map<std::string, float>{
           {"0", 0.0F}, {"57", 0.57F}, {"104", 1.0F}, {"-3", -1.0F}, {"none", -1.0F}}) {
    root.write(supplies + "BAT0/capacity", capacity + "\n");
    EXPECT_FLOAT_EQ(device->batteryLevel(), level) << capacity;
  }
}

TEST(StderrLog, WritesWholeHarmlessLines) {
  const auto log = makeStderrLog();
  testing::internal::CaptureStderr();
  log->plain("Error 422:\n\t{\"name\": \"Zoë\"}");
  log->plain(std::string("a\x1B[2J\r\x7F\xC2\x9B\xFF z\0", 13));
  log->leveled(LogLevel::Info, "sub", "cat", "info");
  log->leveled(LogLevel::Error, "sub", "cat", "error");
  const std::string text = testing::internal::GetCapturedStderr();
  const std::string stamp = R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} )";
  EXPECT_TRUE(
      std::regex_match(text, std::regex(stamp + "Error 422:\n\t\\{\"name\": \"Zoë\"\\}\n" + stamp +
                                        R"(a\\x1b\[2J\\x0d\\x7f\\x9b)" + "\xEF\xBF\xBD z" +
                                        R"(\\x00)" + "\n" + stamp + "\\[sub:cat\\] error\n")))
      << text;
}

TEST(Hash, IsTheLowercaseDigest) {
  EXPECT_EQ(sha256Hex("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(sha256Hex(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST(UUID, IsRandomVersionFourInUpperCase) {
  const std::regex form("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
  for (int i = 0; i < 100; ++i)
    EXPECT_TRUE(std::regex_match(NSUUID::UUIDString(), form));
}

}  // namespace quillfold
