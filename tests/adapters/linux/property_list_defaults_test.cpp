#include "adapters/linux/property_list_defaults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "adapters/linux/device/linux_platform.h"
#include "adapters/linux/system.h"
#include "tests/support/temporary_folder.h"

namespace quillfold {
namespace {

struct RecordingLog : LogSink {
  std::string text;
  void plain(std::string_view line) override { text.append(line) += '\n'; }
  void leveled(LogLevel, std::string_view, std::string_view, std::string_view) override {}
};

class Defaults : public testing::Test {
 protected:
  Defaults() {
    Platform platform = makeLinuxPlatform({});
    platform.log = log_;
    Platform::install(platform);
  }
  std::shared_ptr<NSUserDefaults> open() {
    return makePropertyListDefaults(folder_.path("app/file"), makeFileManager({}));
  }

  TemporaryFolder folder_;
  std::shared_ptr<RecordingLog> log_ = std::make_shared<RecordingLog>();
};

TEST_F(Defaults, SurviveARestart) {
  const Dictionary values = {{"text", "Zoë"},
                             {"number", std::int64_t{1} << 60},
                             {"real", 0.5},
                             {"flag", true},
                             {"bytes", Data(std::string("\0\xFF", 2))},
                             {"date", NSDate::dateWithTimeIntervalSince1970(1709622489.5)},
                             {"nested", Dictionary{{"keys", Array{"a", 1}}}}};
  const auto defaults = open();
  EXPECT_FALSE(defaults->objectForKey("text"));
  EXPECT_EQ(folder_.entries(), 0U);  // Reading makes no files.
  for (const auto& [key, value] : values) {
    defaults->setObject(value, key);
    EXPECT_EQ(open()->objectForKey(key), value) << key;  // On the disk already.
  }
  defaults->removeObjectForKey("flag");
  EXPECT_FALSE(open()->objectForKey("flag"));
  EXPECT_EQ(open()->stringForKey("real"), "0.5");
  EXPECT_EQ(open()->stringForKey("date"), std::nullopt);
  EXPECT_EQ(open()->dataForKey("text"), std::nullopt);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(folder_.mode("app/file"), 0600U);
  EXPECT_EQ(folder_.mode("app"), 0700U);

  defaults->setObject(nullptr, "text");
  defaults->setObject(Array{nullptr}, "text");
  EXPECT_EQ(defaults->stringForKey("text"), "Zoë");
  EXPECT_THAT(log_->text, testing::HasSubstr("Refused user default text: "));
}

TEST_F(Defaults, SetADamagedFileAsideUnderAFreeName) {
  folder_.write("app/file", "bplist00 damaged");
  folder_.write("app/file.unreadable-1", "older");
  const auto defaults = open();
  EXPECT_FALSE(defaults->objectForKey("key"));
  defaults->setObject("value", "key");
  EXPECT_EQ(folder_.read("app/file.unreadable-1"), "older");
  EXPECT_EQ(folder_.read("app/file.unreadable-2"), "bplist00 damaged");
  EXPECT_THAT(log_->text,
              testing::HasSubstr("set aside as " + folder_.path("app/file.unreadable-2")));

  // Damage while running costs nothing that was read before it.
  folder_.write("app/file", "");
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(open()->stringForKey("key"), "value");
}

TEST_F(Defaults, WriteNothingOverADamagedFileThatStaysInPlace) {
  const std::string name = "app/" + std::string(245, 'n');  // No room for a longer ending.
  folder_.write(name, "damaged");
  const auto defaults = makePropertyListDefaults(folder_.path(name), makeFileManager({}));
  defaults->setObject("value", "key");
  EXPECT_EQ(folder_.read(name), "damaged");
  EXPECT_EQ(defaults->stringForKey("key"), "value");
  EXPECT_THAT(log_->text, testing::HasSubstr("left in place, nothing is written"));
}

TEST_F(Defaults, KeepWhatCanNotBeWrittenAndTryAgain) {
  folder_.write("app", "a file where the folder should be");
  const auto defaults = open();
  defaults->setObject("value", "key");
  EXPECT_THAT(log_->text, testing::HasSubstr("Not a directory"));
  EXPECT_EQ(defaults->stringForKey("key"), "value");
  EXPECT_FALSE(defaults->synchronize());
  std::filesystem::remove(folder_.path("app"));
  defaults->setObject("other", "next");
  EXPECT_EQ(open()->stringForKey("key"), "value");
}

TEST_F(Defaults, AreSharedByThreadsAndProcesses) {
  const auto writeMany = [](const auto& defaults, const std::string& name) {
    for (int i = 0; i < 40; ++i)
      defaults->setObject(i, name + std::to_string(i));
  };
  const pid_t child = fork();
  if (child == 0) _exit((writeMany(open(), "child"), 0));
  const auto defaults = open();
  std::thread thread([&] { writeMany(defaults, "thread"); });
  writeMany(defaults, "main");
  thread.join();
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(defaults->synchronize());
  for (const char* name : {"child", "thread", "main"}) {
    for (int i = 0; i < 40; ++i)
      EXPECT_EQ(defaults->objectForKey(name + std::to_string(i)), Value(i)) << name << i;
  }
  EXPECT_EQ(log_->text, "");
}

}  // namespace
}  // namespace quillfold
