#include "adapters/linux/folder_events.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "platform/log_line.h"

namespace quillfold {

namespace {

constexpr std::uint32_t kEntries = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
constexpr std::uint32_t kContents = kEntries | IN_CLOSE_WRITE;

std::string absolutePath(const std::string& path) {
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(path, error);
  std::string result = (error ? std::filesystem::path(path) : absolute).lexically_normal().string();
  while (result.size() > 1 && result.ends_with('/'))
    result.pop_back();
  return result;
}

}  // namespace

FolderEvents::FolderEvents(const std::string& path)
    : path_(absolutePath(path)),
      events_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)),
      stopped_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

FolderEvents::~FolderEvents() {
  if (events_ >= 0) close(events_);
  if (stopped_ >= 0) close(stopped_);
}

BookListing FolderEvents::watch() {
  for (std::size_t slash = path_.find('/'); slash != std::string::npos;) {
    const std::size_t next = path_.find('/', slash + 1);
    const std::string name = path_.substr(slash + 1, next - slash - 1);
    // The book may be a file, whose contents only its own folder tells about.
    add(slash == 0 ? "/" : path_.substr(0, slash), next == std::string::npos ? kContents : kEntries,
        name);
    slash = next;
  }
  return listBook(path_, [this](const std::string& folder) { add(folder, kContents, ""); });
}

// A folder that is watched already keeps its watch. One that can't be opened is left to
// the listing, which tells about it; one that does not exist has a parent to watch.
void FolderEvents::add(const std::string& folder, std::uint32_t mask, const std::string& name) {
  const bool open = events_ >= 0 && stopped_ >= 0;
  const int watch = open ? inotify_add_watch(events_, folder.c_str(), mask | IN_ONLYDIR) : -1;
  if (watch >= 0) {
    names_[watch] = name;
    return;
  }
  const bool ordinary = errno == ENOENT || errno == ENOTDIR || errno == EACCES;
  if (complained_ || (open && ordinary)) return;
  complained_ = true;
  logLine("Address book: changes can't be watched: {}", failureText(folder, errno));
}

FolderEvents::Wake FolderEvents::wait(int milliseconds) {
  if (stopped_ < 0) return Wake::Stopped;
  std::array<pollfd, 2> waits = {{{stopped_, POLLIN, 0}, {events_, POLLIN, 0}}};
  const int ready = poll(waits.data(), waits.size(), milliseconds);
  if (waits[0].revents != 0) return Wake::Stopped;
  if (ready == 0) return Wake::Timeout;
  return ready > 0 && readEvents() ? Wake::Changed : Wake::Other;
}

void FolderEvents::stop() {
  eventfd_write(stopped_, 1);
}

bool FolderEvents::readEvents() {
  alignas(inotify_event) std::array<char, 16384> buffer;
  const ssize_t size = read(events_, buffer.data(), buffer.size());
  bool changed = false;
  for (std::size_t at = 0; size > 0 && at < static_cast<std::size_t>(size);) {
    inotify_event event;
    std::memcpy(&event, buffer.data() + at, sizeof event);
    const char* name = buffer.data() + at + sizeof event;
    if (concernsBook(event.wd, event.mask, event.len > 0 ? name : "")) changed = true;
    at += sizeof event + event.len;
  }
  return changed;
}

bool FolderEvents::concernsBook(int watch, std::uint32_t mask, const std::string& name) {
  if (mask & IN_Q_OVERFLOW) return true;
  if (mask & IN_IGNORED) {
    names_.erase(watch);
    return true;
  }
  // A new file counts once it is written and closed.
  if ((mask & IN_CREATE) && !(mask & IN_ISDIR)) return false;
  const auto expected = names_.find(watch);
  if (expected != names_.end() && !expected->second.empty()) return name == expected->second;
  return (mask & IN_ISDIR) ? !isHiddenName(name) : isCardFileName(name);
}

}  // namespace quillfold
