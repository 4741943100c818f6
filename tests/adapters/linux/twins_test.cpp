// Files that are revised by changes of their twins.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>
#include <set>
#include <thread>

#include "adapters/linux/file_descriptor.h"
#include "adapters/linux/system.h"
#include "tests/support/temporary_folder.h"

namespace quillfold {
namespace {

class Twins : public testing::Test {
 protected:
  Twins() {
    contents_.grow(100000);
    contents_.store(0, std::string(100000, 'a'));
  }

  // Changes some places, and sometimes the size, and revises the file, which has to be that
  // revision then.
  void revise() {
    for (int i = 0; i < 4; ++i) {
      contents_.store(random_() % 99000, std::string(random_() % 900, letter()));
    }
    if (random_() % 2 == 0) contents_.grow(random_() % 500);
    ASSERT_FALSE(files_->reviseFileAtPath(path_, contents_));
    ASSERT_TRUE(read("file") == contents_.bytes());
    EXPECT_EQ(folder_.mode("file"), 0600U);
  }
  void revise(int times) {
    for (int i = 0; i < times; ++i)
      revise();
  }
  char letter() { return static_cast<char>('b' + random_() % 24); }
  std::string read(const std::string& name) { return folder_.read(name); }
  ino_t inode(const std::string& name) {
    struct stat status {};
    return stat(folder_.path(name).c_str(), &status) == 0 ? status.st_ino : 0;
  }
  std::set<ino_t> inodes() {
    std::set<ino_t> out = {inode("file"), inode(kSpare), inode(kSpare1)};
    out.erase(0);
    return out;
  }

  static constexpr const char* kSpare = ".file.spare";
  static constexpr const char* kSpare1 = ".file.spare1";

  TemporaryFolder folder_;
  const std::string path_ = folder_.path("file");
  std::shared_ptr<FileManager> files_ = makeFileManager({});
  RevisedBytes contents_;
  std::mt19937 random_{5};
};

TEST_F(Twins, TradePlacesAndKeepWhatWasSynchronized) {
  revise(2);
  auto before = inodes();
  EXPECT_EQ(before.size(), 2U);
  revise(1);
  const ino_t first = inode("file");
  EXPECT_EQ(folder_.entries(), 3U);
  // The first one of a process lies on the disk; from then on two are worked on.
  for (int round = 0; round < 5; ++round) {
    const std::string kept = read("file");
    const ino_t keptInode = inode("file");
    const bool moreToCome = round % 2 == 1;
    EXPECT_FALSE(files_->synchronizeFileAtPath(path_, moreToCome));
    EXPECT_FALSE(files_->synchronizeFileAtPath(path_));
    for (const char* spare : {kSpare, kSpare1}) {
      EXPECT_EQ(read(spare).starts_with(std::string(8, '\0')), moreToCome) << spare;
    }
    for (int i = 0; i < 7; ++i) {
      revise();
      EXPECT_EQ(inode(kSpare), keptInode);
      EXPECT_TRUE(read(kSpare) == kept) << "what was synchronised is touched";
    }
    if (round == 0) before = inodes();
    EXPECT_EQ(inodes(), before) << "a file is made where one could be changed";
    EXPECT_EQ(folder_.entries(), 3U);
  }
  EXPECT_EQ(before.count(first), 1U);
  EXPECT_EQ(folder_.mode(kSpare) | folder_.mode(kSpare1), 0600U);
  EXPECT_FALSE(files_->removeItemAtPath(path_));
  EXPECT_EQ(folder_.entries(), 0U);
  revise(3);
}

TEST_F(Twins, AreNotChangedUnderAReader) {
  revise(4);
  // One has the file open, one the spare.
  for (const char* name : {"file", kSpare, kSpare1}) {
    const FileDescriptor reader(folder_.path(name).c_str(), O_RDONLY);
    const std::string before = read(name);
    EXPECT_FALSE(files_->synchronizeFileAtPath(path_, true));
    revise(5);
    std::string now(before.size() + 1, '\0');
    now.resize(static_cast<std::size_t>(pread(reader.get(), now.data(), now.size(), 0)));
    EXPECT_TRUE(now == before) << name;
  }
}

TEST_F(Twins, AreNotTrustedOnceSomebodyTouchedThem) {
  const auto append = [&](const char* text) {
    std::ofstream(folder_.path(kSpare), std::ios::app) << text;
  };
  const auto spare = folder_.path(kSpare);
  const std::function<void()> touches[] = {
      [&] { append("x"); },
      [&] {
        const auto time = std::filesystem::last_write_time(spare);
        folder_.write(kSpare, std::string(read(kSpare).size(), 'x'));
        std::filesystem::last_write_time(spare, time + std::chrono::seconds(1));
      },
      [&] { folder_.write(kSpare, ""); },
      [&] { std::filesystem::remove(spare); },
      [&] { std::filesystem::remove(folder_.path("file")); },
      [&] { std::filesystem::create_hard_link(spare, folder_.path("backup")); },
      [&] { chmod(spare.c_str(), 0644); },
      [&] { std::filesystem::copy_file(path_, spare, std::filesystem::copy_options(2)); },
      [&] {
        std::filesystem::remove(spare);
        std::filesystem::create_symlink(path_, spare);
      },
      [&] { folder_.write(".file.tmp", "left"); },
      [&] { ASSERT_FALSE(makeFileManager({})->replaceFileAtPath(path_, "another's")); }};
  for (const auto& touch : touches) {
    revise(4);
    touch();
    const std::string backup = read("backup");
    revise(4);
    EXPECT_TRUE(read("backup") == backup);
  }
  EXPECT_EQ(folder_.mode(kSpare) | folder_.mode(kSpare1), 0600U);
  // Another lineage, and changes too long ago.
  contents_.clear();
  contents_.grow(100000);
  revise(3);
  for (int i = 0; i < 2000; ++i)
    contents_.store(static_cast<std::size_t>(i) * 45, "changed");
  revise(3);

  std::filesystem::remove(path_);
  std::filesystem::create_directories(folder_.path("file/full"));
  EXPECT_TRUE(files_->reviseFileAtPath(path_, contents_));
}

TEST_F(Twins, AreDoneWithoutWhereNamesCanNotBeTraded) {
  // An error of another kind may be over the next time.
  for (const auto& [error, times] :
       std::map<int, int>{{EACCES, 5}, {EINVAL, 1}, {ENOSYS, 1}, {EOPNOTSUPP, 1}}) {
    int asked = 0;
    files_ = makeFileManager({}, [&asked, number = error](const std::string&, const std::string&) {
      ++asked;
      errno = number;
      return false;
    });
    revise();
    for (int i = 0; i < 5; ++i) {
      revise();
      EXPECT_EQ(folder_.entries(), 1U);
      EXPECT_FALSE(files_->synchronizeFileAtPath(path_, true));
    }
    EXPECT_EQ(asked, times) << error;
  }
}

TEST_F(Twins, StandAsideForAnotherProcessAtTheSpares) {
  revise(4);
  const std::string kept = read("file");
  EXPECT_FALSE(files_->synchronizeFileAtPath(path_));
  revise(1);
  EXPECT_TRUE(read(kSpare) == kept);
  std::vector<FileDescriptor> others;
  for (const char* name : {kSpare, kSpare1}) {
    others.emplace_back(folder_.path(name).c_str(), O_RDWR);
    ASSERT_EQ(flock(others.back().get(), LOCK_EX), 0);
    const std::string before = read(name);
    ASSERT_FALSE(makeFileManager({})->reviseFileAtPath(path_, contents_));
    revise(3);
    EXPECT_TRUE(read(name) == before && read(kSpare) == kept) << name;
  }
}

TEST_F(Twins, RemovalLeavesNothingAndNoPromise) {
  revise(4);
  folder_.write(".file.tmp", "of a killed process");
  EXPECT_FALSE(files_->removeItemAtPath(path_));
  EXPECT_EQ(folder_.entries(), 0U);
  EXPECT_FALSE(files_->synchronizeFileAtPath(path_));
  revise(1);
  std::filesystem::remove(path_);
  EXPECT_FALSE(files_->synchronizeFileAtPath(path_));
  // What has taken the place meanwhile is left as it is.
  revise(1);
  std::filesystem::remove(path_);
  folder_.write("elsewhere", "");
  chmod(folder_.path("elsewhere").c_str(), 0644);
  std::filesystem::create_symlink(folder_.path("elsewhere"), path_);
  EXPECT_TRUE(files_->synchronizeFileAtPath(path_));
  EXPECT_EQ(folder_.mode("elsewhere"), 0644U);
  // One that can't be removed keeps no other from it.
  std::filesystem::create_directories(folder_.path(kSpare) + "/full");
  EXPECT_EQ(files_->removeItemAtPath(path_)->localizedDescription(), path_ + ": Is a directory");
  EXPECT_FALSE(files_->fileExistsAtPath(path_));
}

TEST_F(Twins, RestoreAFileThatIsNotWhole) {
  const auto isWhole = [](std::string_view bytes) { return bytes.starts_with("aa"); };
  const auto restore = [&] { return files_->restoreFileAtPath(path_, isWhole); };
  const auto write = [&](const char* file, const char* spare, const char* spare1) {
    folder_.write("file", file);
    folder_.write(kSpare, spare);
    folder_.write(kSpare1, spare1);
  };
  EXPECT_FALSE(restore());
  EXPECT_EQ(folder_.entries(), 0U);
  write("aa", "aab", "aac");
  EXPECT_TRUE(restore());
  EXPECT_EQ(read("file"), "aa");
  write("b", "aab", "aac");
  EXPECT_TRUE(restore());
  EXPECT_EQ(read("file") + read(kSpare), "aabb");
  write("b", "b", "aac");
  EXPECT_TRUE(restore());
  EXPECT_EQ(read("file"), "aac");
  write("b", "b", "b");
  EXPECT_FALSE(restore());
  files_ = makeFileManager({}, [](const auto&, const auto&) { return false; });
  write("b", "aab", "aac");
  EXPECT_TRUE(restore());
  EXPECT_EQ(read("file"), "aab");
  // Who removes the file wants it gone.
  write("b", "aab", "aac");
  std::filesystem::remove(path_);
  EXPECT_FALSE(restore());
  // What can't be looked at may be there.
  std::filesystem::create_symlink(path_, path_);
  EXPECT_TRUE(restore());
}

TEST_F(Twins, StayWholeUnderSeveralWriters) {
  const auto writeMany = [&](FileManager& files, char letter) {
    RevisedBytes contents;
    contents.grow(9000);
    bool good = true;
    for (int i = 0; i < 300; ++i) {
      contents.grow(10);
      contents.store(0, std::string(contents.bytes().size(), letter));
      good &= (i % 5 == 0 ? files.replaceFileAtPath(path_, contents.bytes())
                          : files.reviseFileAtPath(path_, contents)) == nullptr;
      if (i % 50 == 0) good &= files.synchronizeFileAtPath(path_) == nullptr;
      const auto read = files.contentsAtPath(path_);
      good &= !read || (read->size() >= 9000 && read->bytes().find_first_not_of(read->bytes()[0]) ==
                                                    std::string_view::npos);
      if (i % 20 == 0) static_cast<void>(files.removeItemAtPath(path_));
    }
    return good;
  };
  revise(4);  // What is open then the child has, too.
  const pid_t child = fork();
  if (child == 0) _exit(writeMany(*files_, 'c') ? 0 : 1);
  std::thread same([&] { EXPECT_TRUE(writeMany(*files_, 's')); });
  std::thread other([&] { EXPECT_TRUE(writeMany(*makeFileManager({}), 'o')); });
  EXPECT_TRUE(writeMany(*files_, 'm'));
  same.join();
  other.join();
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  revise(3);
  EXPECT_FALSE(files_->removeItemAtPath(path_));
  EXPECT_EQ(folder_.entries(), 0U) << "a spare is left";
}

}  // namespace
}  // namespace quillfold
