#include <gtest/gtest.h>
#include <limits.h>
#include <sys/file.h>
#include <sys/wait.h>

#include <thread>
#include <vector>

#include "adapters/linux/file_descriptor.h"
#include "adapters/linux/system.h"
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
  const std::string path = folder_.path("a/b/file");
  EXPECT_FALSE(files_.contentsAtPath(path));
  EXPECT_EQ(files_.replaceFileAtPath(path, "x")->code(), NSFileNoSuchFileError);
  EXPECT_FALSE(files_.createDirectoryAtPath(folder_.path("a/b/")));
  EXPECT_EQ(folder_.mode("a"), 0700U);

  // More pieces than one call takes, empty ones among them.
  std::vector<std::string_view> pieces(2 * IOV_MAX + 7, "ab");
  pieces[3] = {};
  EXPECT_FALSE(files_.replaceFileAtPath(path, pieces.data(), pieces.size()));
  EXPECT_EQ(files_.contentsAtPath(path)->size(), 2 * (pieces.size() - 1));
  EXPECT_EQ(folder_.mode("a/b/file"), 0600U);
  EXPECT_FALSE(files_.replaceFileAtPath(path, ""));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.path("a/b")), {}), 1);

  EXPECT_EQ(files_.createDirectoryAtPath(path)->localizedDescription(), path + ": Not a directory");
  EXPECT_TRUE(files_.fileExistsAtPath(path + std::string(NAME_MAX, 'x')));
  EXPECT_TRUE(files_.replaceFileAtPath(folder_.path("a"), "x"));
  EXPECT_EQ(folder_.entries(), 1U);  // Nothing temporary is left.
  EXPECT_FALSE(files_.removeItemAtPath(path));
  EXPECT_FALSE(files_.fileExistsAtPath(path));
  EXPECT_EQ(files_.removeItemAtPath(path)->domain(), "NSCocoaErrorDomain");
}

TEST_F(Files, TakeOverWhatAKilledProcessLeftAndPassByAnotherWriter) {
  folder_.write(".file.tmp", std::string(1000, 'x'));
  EXPECT_FALSE(files_.replaceFileAtPath(folder_.path("file"), "new"));
  EXPECT_EQ(folder_.read("file"), "new");
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

TEST_F(Files, StayWholeUnderSeveralWriters) {
  const std::string path = folder_.path("file");
  const auto writeMany = [&](char letter) {
    bool good = true;
    for (std::size_t i = 0; i < 300; ++i) {
      good &= files_.replaceFileAtPath(path, std::string(5000 + i, letter)) == nullptr;
      const std::string read(files_.contentsAtPath(path)->bytes());
      good &= read.size() >= 5000 && read.find_first_not_of(read.front()) == std::string::npos;
    }
    return good;
  };
  const pid_t child = fork();
  if (child == 0) _exit(writeMany('c') ? 0 : 1);
  std::thread other([&] { EXPECT_TRUE(writeMany('t')); });
  EXPECT_TRUE(writeMany('m'));
  other.join();
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(folder_.entries(), 1U);
}

TEST_F(Files, BelongInTheUsersDataFolder) {
  setenv("HOME", "/home/ann", 1);
  setenv("XDG_DATA_HOME", "relative/is/ignored", 1);
  EXPECT_EQ(files_.applicationSupportDirectory(), "/home/ann/.local/share");
}

}  // namespace
}  // namespace quillfold
