#include <fmt/chrono.h>
#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <sys/socket.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <csignal>
#include <ctime>
#include <regex>

#include "adapters/asio/task_scheduler.h"
#include "adapters/linux/system.h"
#include "foundation/hash.h"
#include "foundation/uuid.h"
#include "tests/support/temporary_folder.h"

static std::vector<ifaddrs> interfaces;  // In the place of the system's.

extern "C" int getifaddrs(ifaddrs** list) noexcept {
  *list = interfaces.data();
  return interfaces.empty() ? -1 : 0;
}
extern "C" void freeifaddrs(ifaddrs*) noexcept {}

namespace quillfold {

TEST(DeviceData, TellsTheSystemAndTheBattery) {
  const TemporaryFolder root;
  utsname names{};
  ASSERT_EQ(uname(&names), 0);
  const auto device = makeDeviceData(UIScreen{.width = 3}, {}, root.path(""));
  EXPECT_EQ(device->mainScreen().value().width, 3);
  EXPECT_EQ(device->machine(), names.machine);
  EXPECT_GT(device->physicalMemory().value(), 1U << 20);
  EXPECT_EQ(device->processorCount().value(), static_cast<std::uint64_t>(get_nprocs_conf()));

  const std::array<std::string, 4> releases[] = {
      {"none", "", names.sysname, names.release},
      {"usr/lib/os-release", "NAME=Base\nVERSION_ID=\n", "Base", names.release},
      {"etc/os-release",
       "# NAME=no\nNAME=\"A \\\"B\\\" Linux\"\\\nVERSION_ID=1'2\\'\\#\n=\n\nNAME\n",
       "A \"B\" Linux\\", "12\\#"}};
  for (const auto& [file, text, name, version] : releases) {
    root.write(file, text);
    EXPECT_EQ(device->systemName(), name);
    EXPECT_EQ(device->systemVersion(), version);
  }

  const std::string supplies = "sys/class/power_supply/";
  root.write(supplies + "AC/type", "Mains\n");
  root.write(supplies + "A-mouse/type", "Battery\n");
  root.write(supplies + "A-mouse/scope", "Device\n");
  root.write(supplies + "A-mouse/capacity", "5\n");
  EXPECT_LT(device->batteryLevel(), 0);
  EXPECT_EQ(device->batteryState(), UIDeviceBatteryStateUnknown);
  for (const char* battery : {"BAT2", "BAT0", "BAT1"})
    root.write(supplies + battery + "/type", "Battery\n");
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
  const auto time = [] { return fmt::format("{:%F %T}", fmt::localtime(std::time(nullptr))); };
  const std::string before = time();
  testing::internal::CaptureStderr();
  log->plain("Error 422:\n\t{\"name\": \"Zoë\"}");
  log->plain(std::string("a\x1B[2J\r\x7F\xC2\x9B\xFF z\xC2\xA0\0", 15));
  log->leveled(LogLevel::Info, "sub", "cat", "info");
  log->leveled(LogLevel::Error, "sub", "cat", "error");
  const std::string text = testing::internal::GetCapturedStderr();
  EXPECT_TRUE(before <= text && text.substr(0, before.size()) <= time());
  const std::string stamp = R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} )";
  EXPECT_TRUE(
      std::regex_match(text, std::regex(stamp + "Error 422:\n\t\\{\"name\": \"Zoë\"\\}\n" + stamp +
                                        R"(a\\x1b\[2J\\x0d\\x7f\\x9b)" + "\xEF\xBF\xBD z\xC2\xA0" +
                                        R"(\\x00)" + "\n" + stamp + "\\[sub:cat\\] error\n")))
      << text;
}

TEST(StderrLog, BearsAReaderThatHasGone) {
  signal(SIGPIPE, SIG_DFL);
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  const int kept = dup(STDERR_FILENO);
  dup2(ends[1], STDERR_FILENO);
  makeStderrLog()->plain("line");
  dup2(kept, STDERR_FILENO);
  sigset_t blocked;
  pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
  EXPECT_EQ(sigismember(&blocked, SIGPIPE), 0);
}

TEST(Network, IsUpWithAnAddressThatIsNotTheLoopbacks) {
  EXPECT_FALSE(systemNetworkIsUp()) << "the system doesn't tell";
  constexpr unsigned kRunning = IFF_UP | IFF_RUNNING;
  for (const unsigned flags :
       {kRunning, unsigned{IFF_UP}, unsigned{IFF_RUNNING}, kRunning | IFF_LOOPBACK}) {
    for (const int family : {AF_INET, AF_INET6, AF_PACKET}) {
      sockaddr address{static_cast<sa_family_t>(family), {}};
      interfaces.resize(2);  // The first has no address.
      interfaces[0].ifa_next = &interfaces[1];
      interfaces[0].ifa_flags = kRunning;
      interfaces[1].ifa_flags = flags;
      interfaces[1].ifa_addr = &address;
      EXPECT_EQ(systemNetworkIsUp(), flags == kRunning && family != AF_PACKET);
    }
  }
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
