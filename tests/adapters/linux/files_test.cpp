#include <gtest/gtest.h>
#include <limits.h>
#include <pwd.h>
#include <sys/file.h>
#include <unistd.h>

#include <vector>

#include "adapters/linux/file_descriptor.h"
#include "adapters/linux/system.h"
#include "adapters/linux/user_folders.h"
#include "foundation/format.h"
#include "tests/support/temporary_folder.h"

namespace quillfold {
namespace {

class Files : public testing::Test {
 protected:
  TemporaryFolder folder_;
  std::shared_ptr<FileManager> manager_ = makeFileManager({});
  FileManager& files_ = *manager_;
};

TEST_F(Files, MakesReadsReplacesAndRemoves) {
  close(STDIN_FILENO);  // Its number is as good as any other.
  const std::string path = folder_.path("a/b/file");
  EXPECT_FALSE(files_.contentsAtPath(path));
  EXPECT_EQ(files_.replaceFileAtPath(path, "x")->code(), NSFileNoSuchFileError);
  EXPECT_FALSE(files_.createDirectoryAtPath(folder_.path("a/b/")));
  EXPECT_EQ(folder_.mode("a"), 0700U);

  // More pieces than one call takes, empty ones among them.
  std::vector<std::string_view> pieces(2 * IOV_MAX + 7, "ab");
  pieces[3] = {};
  pieces.back() = "the end";
  EXPECT_FALSE(files_.replaceFileAtPath(path, pieces.data(), pieces.size()));
  EXPECT_EQ(files_.contentsAtPath(path)->bytes(), fmt::format("{}", fmt::join(pieces, "")));
  EXPECT_EQ(folder_.mode("a/b/file"), 0600U);
  EXPECT_FALSE(files_.replaceFileAtPath(path, ""));
  EXPECT_EQ(files_.contentsAtPath(path)->size(), 0U);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.path("a/b")), {}), 1);
  // One whose size is not told.
  EXPECT_EQ(files_.contentsAtPath("/proc/version")->bytes(), folder_.read("/proc/version"));

  EXPECT_EQ(files_.createDirectoryAtPath(path)->localizedDescription(), path + ": Not a directory");
  EXPECT_EQ(files_.createDirectoryAtPath("")->code(), NSFileNoSuchFileError);
  EXPECT_TRUE(files_.fileExistsAtPath(path + std::string(NAME_MAX, 'x')));
  EXPECT_TRUE(files_.replaceFileAtPath(folder_.path("a"), "x"));
  EXPECT_EQ(folder_.entries(), 1U);  // Nothing temporary is left.
  EXPECT_FALSE(files_.removeItemAtPath(path));
  EXPECT_FALSE(files_.fileExistsAtPath(path));
  EXPECT_EQ(files_.removeItemAtPath(path)->domain(), "NSCocoaErrorDomain");
  EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1) << "a file is still open";
}

TEST_F(Files, TakeOverWhatAKilledProcessLeftAndPassByAnotherWriter) {
  folder_.write(".file.tmp", "x");
  EXPECT_FALSE(files_.replaceFileAtPath(folder_.path("file"), ""));
  EXPECT_EQ(folder_.read("file"), "");
  EXPECT_EQ(folder_.mode("file"), 0600U);
  EXPECT_EQ(folder_.entries(), 1U);

  folder_.write(".file.tmp", "being written");
  const FileDescriptor writer(folder_.path(".file.tmp").c_str(), O_RDWR);
  ASSERT_EQ(flock(writer.get(), LOCK_EX), 0);
  EXPECT_FALSE(files_.replaceFileAtPath(folder_.path("file"), "newer"));
  EXPECT_EQ(folder_.read("file"), "newer");
  EXPECT_EQ(folder_.read(".file.tmp"), "being written");
  EXPECT_EQ(folder_.entries(), 2U);
}

TEST_F(Files, BelongInTheFoldersOfTheUser) {
  setenv("HOME", "/home/ann", 1);
  setenv("XDG_DATA_HOME", "relative/is/ignored", 1);
  setenv("XDG_CONFIG_HOME", "/etc/ann", 1);
  EXPECT_EQ(files_.applicationSupportDirectory(), "/home/ann/.local/share");
  EXPECT_EQ(userConfigurationFolder(), "/etc/ann");
  setenv("XDG_DATA_HOME", "/data", 1);
  unsetenv("XDG_CONFIG_HOME");
  unsetenv("HOME");
  EXPECT_EQ(files_.applicationSupportDirectory(), "/data");
  EXPECT_EQ(userConfigurationFolder(), getpwuid(geteuid())->pw_dir + std::string("/.config"));
}

}  // namespace
}  // namespace quillfold
