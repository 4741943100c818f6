#include "adapters/linux/property_list_defaults.h"

#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "adapters/linux/system.h"
#include "foundation/archive/binary_plist.h"
#include "tests/adapters/linux/contacts_fixture.h"

namespace quillfold {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

struct Defaults : ContactsFixture {
  std::shared_ptr<NSUserDefaults> open(const std::string& name = "app/file") {
    return makePropertyListDefaults(folder_.path(name), makeFileManager({}));
  }
};

TEST_F(Defaults, SurviveARestart) {
  const Dictionary values = {{"text", "Zoë"},
                             {"number", std::int64_t{1} << 60},
                             {"real", 0.5},
                             {"flag", true},
                             {"bytes", Data(std::string("\0\xFF", 2))},
                             {"date", NSDate::dateWithTimeIntervalSince1970(1709622489.5)},
                             {"nested", Dictionary{{"keys", Array{"a", 1}}}}};
  const auto settings = open();
  EXPECT_FALSE(settings->objectForKey("text"));
  EXPECT_EQ(folder_.entries(), 0U);  // Reading makes no files.
  EXPECT_TRUE(settings->synchronize());
  for (const auto& [key, value] : values) {
    settings->setObject(value, key);
    EXPECT_EQ(open()->objectForKey(key), value) << key;  // On the disk already.
  }
  settings->removeObjectForKey("flag");
  EXPECT_FALSE(open()->objectForKey("flag"));
  EXPECT_EQ(open()->stringForKey("real"), "0.5");
  EXPECT_EQ(open()->stringForKey("date"), std::nullopt);
  EXPECT_EQ(open()->dataForKey("text"), std::nullopt);
  EXPECT_EQ(folder_.mode("app/file"), 0600U);
  EXPECT_EQ(folder_.mode("app"), 0700U);

  settings->setObject(nullptr, "text");
  settings->setObject(Array{nullptr}, "text");
  EXPECT_EQ(settings->stringForKey("text"), "Zoë");
  const auto refused = StartsWith("Refused user default text: ");
  EXPECT_THAT(log->take(), ElementsAre(refused, refused));

  // What is written is not written again over another's.
  open()->setObject("another's", "text");
  settings->setObject(1, "real");
  EXPECT_EQ(settings->stringForKey("text"), "another's");
  std::filesystem::remove(folder_.path("app/file"));
  settings->setObject(2, "real");
  EXPECT_FALSE(open()->objectForKey("text"));
}

TEST_F(Defaults, SetADamagedFileAsideUnderAFreeName) {
  folder_.write("app/file", "bplist00 damaged");
  folder_.write("app/file.unreadable-1", "older");
  const auto settings = open();
  EXPECT_FALSE(settings->objectForKey("key"));
  EXPECT_EQ(folder_.read("app/file.unreadable-2"), "bplist00 damaged");
  EXPECT_THAT(log->take(),
              ElementsAre(StartsWith("Unreadable user defaults " + folder_.path("app/file") +
                                     " set aside as " + folder_.path("app/file.unreadable-2: "))));
  settings->setObject("value", "key");
  EXPECT_EQ(folder_.read("app/file.unreadable-1"), "older");

  // Damage while running costs nothing that was read before it.
  std::filesystem::remove(folder_.path("app/file.unreadable-1"));
  folder_.write("app/file", "");
  EXPECT_TRUE(settings->synchronize());
  EXPECT_TRUE(std::filesystem::exists(folder_.path("app/file.unreadable-1")));
  EXPECT_EQ(open()->stringForKey("key"), "value");
  // Nor where the new file can't be written at once.
  folder_.write("app/file", "");
  folder_.write("app/.file.tmp/full", "");
  EXPECT_FALSE(settings->synchronize());
  std::filesystem::remove_all(folder_.path("app/.file.tmp"));
  settings->setObject("later", "another");
  EXPECT_EQ(open()->stringForKey("key"), "value");
}

TEST_F(Defaults, KeepWhatCanNotBeWrittenAndTryAgain) {
  const std::string name(245, 'n');  // No room for a longer ending.
  const std::string path = folder_.path("app/" + name), left = "Unreadable user defaults " + path +
                                                               " left in place, nothing is written";
  // What is in the way, a file with a text or a folder, and how that is told.
  const std::tuple<std::string, std::string, std::string> obstacles[] = {
      {"app", "a file",
       "Error making the folder of user defaults: " + folder_.path("app") + ": Not a directory"},
      {"app/." + name + ".lock", "",
       "Error locking user defaults " + folder_.path("app/." + name + ".lock") +
           ": Is a directory"},
      {"app/." + name + ".tmp", "", "Error writing user defaults: " + path + ": Is a directory"},
      {"app/" + name, "", left + ": the file can't be read (Invalid argument)"},
      {"app/" + name, *NSPropertyListSerialization::dataWithPropertyList(Array{}),
       left + ": the top level is no dictionary (File name too long)"}};
  for (const auto& [obstacle, text, line] : obstacles) {
    folder_.write(obstacle + (text.empty() ? "/full" : ""), text);
    const auto settings = open("app/" + name);
    settings->setObject("value", "key");
    EXPECT_EQ(settings->stringForKey("key"), "value");
    EXPECT_EQ(settings->synchronizeOrFail()->localizedDescription(), line);
    EXPECT_THAT(log->take(), ElementsAre(line, line));
    EXPECT_EQ(text.empty() ? text : folder_.read(obstacle), text);
    std::filesystem::remove_all(folder_.path("app"));
    settings->setObject("other", "next");
    EXPECT_EQ(open("app/" + name)->stringForKey("key"), "value") << line;
    std::filesystem::remove_all(folder_.path("app"));
  }
}

TEST_F(Defaults, AreSharedByThreadsAndProcesses) {
  const auto writeMany = [](const auto& settings, const std::string& name) {
    for (int i = 0; i < 40; ++i)
      settings->setObject(i, name + std::to_string(i));
  };
  const pid_t child = fork();
  if (child == 0) _exit((writeMany(open(), "child"), 0));
  const auto settings = open();
  std::thread thread([&] { writeMany(settings, "thread"); });
  writeMany(settings, "main");
  thread.join();
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(settings->synchronize());
  for (const char* name : {"child", "thread", "main"}) {
    for (int i = 0; i < 40; ++i)
      EXPECT_EQ(settings->objectForKey(name + std::to_string(i)), Value(i)) << name << i;
  }
  EXPECT_THAT(log->take(), ElementsAre());
}

}  // namespace
}  // namespace quillfold
