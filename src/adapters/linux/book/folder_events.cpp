#include "adapters/linux/book/folder_events.h"

#include <linux/magic.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <utility>

#include "foundation/format.h"

namespace quillfold {

namespace {

constexpr std::uint32_t kEntries = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
constexpr std::uint32_t kWrites = IN_MODIFY | IN_CLOSE_WRITE;
// With IN_ATTRIB, as a file that could not be read may become readable.
constexpr std::uint32_t kContents = kEntries | kWrites | IN_ATTRIB;

// Those whose changes all pass through this system. Any other may be changed on another
// machine or by a process that brings no events.
constexpr std::uint32_t kLocalFileSystems[] = {EXT4_SUPER_MAGIC,      BTRFS_SUPER_MAGIC,
                                               XFS_SUPER_MAGIC,       F2FS_SUPER_MAGIC,
                                               TMPFS_MAGIC,           RAMFS_MAGIC,
                                               OVERLAYFS_SUPER_MAGIC, ECRYPTFS_SUPER_MAGIC,
                                               MSDOS_SUPER_MAGIC,     EXFAT_SUPER_MAGIC,
                                               NILFS_SUPER_MAGIC,     UDF_SUPER_MAGIC,
                                               0x2fc12fc1 /* ZFS */,  0xca451a4e /* bcachefs */,
                                               0x3153464a /* JFS */,  0x7366746e /* NTFS */};

// Each takes up what has changed during the one before.
constexpr int kMostReadings = 32;

bool isLocal(const std::string& folder) {
  struct statfs status;
  return statfs(folder.c_str(), &status) == 0 &&
         std::find(std::begin(kLocalFileSystems), std::end(kLocalFileSystems),
                   static_cast<std::uint32_t>(status.f_type)) != std::end(kLocalFileSystems);
}

bool isFile(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

bool isLink(const std::string& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

std::string absolutePath(const std::string& given) {
  std::error_code error;
  std::filesystem::path path = std::filesystem::absolute(given, error);
  if (error) path = given;
  // Where ".." leads depends on links.
  const bool plain = std::find(path.begin(), path.end(), "..") == path.end();
  std::string result = (plain ? path.lexically_normal() : path).string();
  while (result.size() > 1 && result.ends_with('/'))
    result.pop_back();
  return result;
}

}  // namespace

FolderEvents::FolderEvents(const std::string& path)
    : path_(absolutePath(path)),
      signal_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)),
      // Nobody can wait for events without the other.
      events_(signal_ ? inotify_init1(IN_NONBLOCK | IN_CLOEXEC) : -1),
      // Tells of mounts, which hide a folder without an event.
      mounts_("/proc/self/mountinfo", O_RDONLY),
      awaitedMounts_("/proc/self/mountinfo", O_RDONLY) {}

BookTree FolderEvents::watch() {
  ++pass_;
  BookTree tree;
  bool watchedFrom = false;
  const WatchFolder watchFolder = [this](const std::string& folder) {
    return add(folder, kContents, "");
  };
  moved_ = {path_};
  for (int times = 0; times < kMostReadings && !moved_.empty(); ++times) {
    const std::set<std::string> places = std::exchange(moved_, {});
    if (places.contains(path_)) watchedFrom = watchWay();
    readBookTree(tree, path_, places, watchedFrom, watchFolder);
    // Meanwhile something may have moved from where nobody had looked to where somebody had.
    if (takeEvents()) changed_ = true;
  }
  if (!moved_.empty()) tree.listing.failure = fmt::format("{}: it changes all the time", path_);
  if (changed_) wake();
  removeWatchesBefore(pass_);
  addWrites(tree.listing);
  return tree;
}

// Returns whether all that can happen on the way is watched: not what happens to the
// folders behind a link or above "..".
bool FolderEvents::watchWay() {
  bool watched = true;
  for (std::size_t slash = path_.find('/'); slash != std::string::npos;) {
    const std::size_t next = path_.find('/', slash + 1);
    const std::string folder = slash == 0 ? "/" : path_.substr(0, slash);
    const std::string name = path_.substr(slash + 1, next - slash - 1);
    // Of a book that is a file only its folder tells what is written to it. That of
    // another one may be a home, where all the time something is written.
    const bool toBook = next == std::string::npos;
    const std::uint32_t mask = toBook && isFile(path_) ? kContents : kEntries;
    if (!add(folder, mask, name)) watched = false;
    if (name == ".." || isLink(path_.substr(0, next))) watched = false;
    slash = next;
  }
  return watched;
}

// Returns whether changes of the folder bring events. Those of one that does not exist
// are changes of its parent.
bool FolderEvents::add(const std::string& folder, std::uint32_t mask, const std::string& name) {
  // What has become a link meanwhile is no folder of the book.
  const bool follow = !name.empty() || folder == path_;
  mask |= IN_ONLYDIR | (follow ? 0 : IN_DONT_FOLLOW);
  const int watch = events_ ? inotify_add_watch(events_.get(), folder.c_str(), mask) : -1;
  if (watch >= 0) {
    watches_[watch] = {folder, name, pass_};
    return mounts_ && isLocal(folder);
  }
  if (events_ && (errno == ENOENT || errno == ENOTDIR)) return true;
  const bool left = events_ && errno == EACCES;
  if (!complained_ && !left) {
    complained_ = true;
    complaint_ = failureText(folder, events_ ? errno : EMFILE);
  }
  return false;
}

void FolderEvents::removeWatchesBefore(std::uint64_t pass) {
  for (auto each = watches_.begin(); each != watches_.end();) {
    if (each->second.pass == pass) {
      ++each;
    } else {
      inotify_rm_watch(events_.get(), each->first);
      each = watches_.erase(each);
    }
  }
}

std::string FolderEvents::takeComplaint() {
  return std::exchange(complaint_, {});
}

bool FolderEvents::takeChanges() {
  std::array<pollfd, 2> sources = {{{events_.get(), POLLIN, 0}, {mounts_.get(), POLLPRI, 0}}};
  const bool changed = std::exchange(changed_, false);
  if (poll(sources.data(), sources.size(), 0) <= 0) return changed;
  const bool remounted = sources[1].revents != 0;
  return takeEvents() || remounted || changed;
}

bool FolderEvents::takeEvents() {
  alignas(inotify_event) std::array<char, 16384> buffer;
  bool changed = false;
  for (;;) {
    const ssize_t size =
        uninterrupted([&] { return ::read(events_.get(), buffer.data(), buffer.size()); });
    if (size <= 0) return changed;
    for (std::size_t at = 0; at < static_cast<std::size_t>(size);) {
      inotify_event event;
      std::memcpy(&event, buffer.data() + at, sizeof event);
      const char* name = buffer.data() + at + sizeof event;
      if (concernsBook(event.wd, event.mask, event.len > 0 ? name : "")) changed = true;
      at += sizeof event + event.len;
    }
  }
}

bool FolderEvents::concernsBook(int watch, std::uint32_t mask, const std::string& name) {
  if (mask & IN_Q_OVERFLOW) {
    lostWrites_ = ++lastWrite_;
    moved_.insert(path_);
    return true;
  }
  const auto known = watches_.find(watch);
  if (known == watches_.end()) return false;
  if (mask & IN_IGNORED) {
    watches_.erase(known);
    return true;
  }
  const Watch& folder = known->second;
  if (!folder.name.empty()) {
    if (name != folder.name) return false;
    if (mask & kWrites) noteWrite(path_);
    if (mask & kEntries) moved_.insert(path_);
    return true;
  }
  const bool inBook = mask & IN_ISDIR ? !isHiddenName(name) : isCardFileName(name);
  if (inBook && (mask & kEntries)) moved_.insert(folder.folder + '/' + name);
  if (mask & IN_ISDIR) return inBook;
  if (inBook && (mask & kWrites)) noteWrite(folder.folder + '/' + name);
  // Events carry the name that a file was opened by: since then it may have got one that
  // makes it a card.
  return inBook || (mask & kWrites);
}

void FolderEvents::noteWrite(const std::string& path) {
  writes_[path] = ++lastWrite_;
}

void FolderEvents::addWrites(BookListing& listing) {
  const bool complete = listing.failure.empty();
  for (BookFile& file : listing.files)
    file.lastWrite = lostWrites_;
  for (auto each = writes_.begin(); each != writes_.end();) {
    const auto file = std::lower_bound(
        listing.files.begin(), listing.files.end(), each->first,
        [](const BookFile& one, const std::string& path) { return one.path < path; });
    const bool listed = file != listing.files.end() && file->path == each->first;
    if (listed) file->lastWrite = std::max(file->lastWrite, each->second);
    each = listed || !complete ? std::next(each) : writes_.erase(each);
  }
}

FolderEvents::Wake FolderEvents::wait(int milliseconds) {
  std::array<pollfd, 3> sources = {
      {{signal_.get(), POLLIN, 0}, {events_.get(), POLLIN, 0}, {awaitedMounts_.get(), POLLPRI, 0}}};
  const int ready = poll(sources.data(), sources.size(), milliseconds);
  eventfd_t count = 0;
  if (sources[0].revents != 0) eventfd_read(signal_.get(), &count);
  if (stopped_ || !signal_) return Wake::Stopped;
  return ready == 0 ? Wake::Timeout : Wake::Woken;
}

void FolderEvents::wake() {
  eventfd_write(signal_.get(), 1);
}

void FolderEvents::stop() {
  stopped_ = true;
  wake();
}

}  // namespace quillfold
