#include <linux/magic.h>
#include <sys/inotify.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <atomic>

#include "adapters/linux/file_descriptor.h"
#include "tests/adapters/linux/contacts_fixture.h"

namespace {

std::atomic<bool> onTheNetwork = false;  // Then no change brings an event.
std::atomic<bool> withoutInotify = false;
std::atomic<std::int64_t> secondsLater = 0;

}  // namespace

// In the place of the system's, for all that is linked into this program.
extern "C" int statfs(const char* path, struct statfs* status) noexcept {
  const long result = syscall(SYS_statfs, path, status);
  if (onTheNetwork) status->f_type = NFS_SUPER_MAGIC;
  return static_cast<int>(result);
}
extern "C" int inotify_init1(int flags) noexcept {
  if (!withoutInotify) return static_cast<int>(syscall(SYS_inotify_init1, flags));
  errno = EMFILE;
  return -1;
}
extern "C" int inotify_add_watch(int watcher, const char* path, std::uint32_t mask) noexcept {
  if (onTheNetwork) mask = IN_DELETE_SELF | IN_ONLYDIR;
  return static_cast<int>(syscall(SYS_inotify_add_watch, watcher, path, mask));
}
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
  const long result = syscall(SYS_clock_gettime, clock, time);
  if (clock == CLOCK_REALTIME) time->tv_sec += secondsLater;
  return static_cast<int>(result);
}

namespace quillfold {
namespace {

namespace fs = std::filesystem;

// What has no events: a file behind a link or with a second name, what is behind a link on
// the way to the book, the network, a system that can't watch.
struct Place {
  const char* book;
  bool network = false;
  bool exhausted = false;
  friend void PrintTo(const Place& place, std::ostream* out) { *out << place.book; }
};

class Unwatched : public ContactsFixture, public testing::WithParamInterface<Place> {};

TEST_P(Unwatched, IsSeenByTheNextCall) {
  write("target/a.vcf", card("0"));
  fs::create_directories(root / "links/deep");
  fs::create_symlink("links/deep", root / "up");
  fs::create_symlink("../target/a.vcf", root / "links/a.vcf");
  fs::create_symlink("target/a.vcf", root / "file.vcf");
  fs::create_symlink("target", root / "folder");
  fs::create_directories(root / "names");
  fs::create_hard_link(root / "target/a.vcf", root / "names/a.vcf");
  onTheNetwork = GetParam().network;
  withoutInotify = GetParam().exhausted;

  using Ids = std::vector<std::string>;
  auto store = authorized(root / GetParam().book)->makeStore();
  EXPECT_EQ(identifiers(*store), Ids{"0"});
  for (const char* same : {"1", "2", "3", "4"}) {
    write("target/a.vcf", card(same));
    EXPECT_EQ(identifiers(*store), Ids{same}) << "the clock of the files may not tell them apart";
  }
  // What was read is old enough now to be known by its stamp.
  secondsLater = 3600;
  identifiers(*store);
  for (const char* longer : {"10", "100"}) {
    write("target/a.vcf", card(longer));
    EXPECT_EQ(identifiers(*store), Ids{longer});
  }
  if (GetParam().book == std::string("names")) return;
  fs::rename(root / "target", root / "old");
  EXPECT_EQ(identifiers(*store), Ids());
  write("target/a.vcf", card("new"));
  EXPECT_EQ(identifiers(*store), Ids{"new"});
  fs::create_directories(root / "target/sub");
  identifiers(*store);
  write("target/sub/b.vcf", card("b"));
  const bool whole = fs::is_directory(root / GetParam().book / "sub");
  EXPECT_EQ(identifiers(*store), whole ? Ids({"new", "b"}) : Ids{"new"});
  fs::remove(root / "target/a.vcf");
  EXPECT_EQ(identifiers(*store), whole ? Ids{"b"} : Ids());
  store.reset();  // With its thread.
  EXPECT_THAT(log->take(),
              testing::Contains("Address book: changes can't be watched: /: Too many open files")
                  .Times(GetParam().exhausted ? 1 : 0));
}

INSTANTIATE_TEST_SUITE_P(Places, Unwatched,
                         testing::Values(Place{"links"}, Place{"up/../a.vcf"}, Place{"file.vcf"},
                                         Place{"folder"}, Place{"names"}, Place{"target", true},
                                         Place{"target/.", false, true}));

class Mapped : public ContactsFixture {};

TEST_F(Mapped, IsSeenWhenTheMappingGoes) {
  write("book/a.vcf", card("0"));
  const std::size_t size = card("0").size(), at = card("0").find("UID:") + 4;
  const auto store = authorized(book)->makeStore();
  void* text = nullptr;
  {
    const FileDescriptor file((book / "a.vcf").c_str(), O_RDWR);
    text = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
  }
  ASSERT_NE(text, MAP_FAILED);
  static_cast<char*>(text)[at] = '1';
  secondsLater = 3600;
  EXPECT_EQ(identifiers(*store), std::vector<std::string>{"1"});
  static_cast<char*>(text)[at] = '2';  // The file's time has moved with the first.
  munmap(text, size);
  EXPECT_EQ(identifiers(*store), std::vector<std::string>{"2"});
}

}  // namespace
}  // namespace quillfold
