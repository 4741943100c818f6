#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <mutex>

#include "adapters/linux/system.h"
#include "foundation/format.h"
#include "foundation/text.h"

namespace quillfold {

namespace {

std::string timeStamp() {
  const auto now = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  std::tm local{};
  localtime_r(&seconds, &local);
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}.{:03}", local.tm_year + 1900,
                     local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                     now.time_since_epoch().count() % 1000);
}

// Appends well-formed UTF-8 with the control characters spelled out.
void appendHarmless(std::string& out, std::string_view line) {
  for (std::size_t i = 0; i < line.size(); ++i) {
    const auto byte = static_cast<unsigned char>(line[i]);
    // U+0080 to U+009F, which some terminals obey too, are C2 80 to C2 9F.
    const bool high = byte == 0xC2 && static_cast<unsigned char>(line[i + 1]) < 0xA0;
    if (high) {
      out += fmt::format("\\x{:02x}", static_cast<unsigned char>(line[++i]));
    } else if ((byte < 0x20 && byte != '\n' && byte != '\t') || byte == 0x7F) {
      out += fmt::format("\\x{:02x}", byte);
    } else {
      out += line[i];
    }
  }
}

// Keeps a reader that has gone away from ending the process: the signal of a broken
// pipe is held back on this thread, and taken away if it has come.
class BrokenPipesIgnored {
 public:
  BrokenPipesIgnored() {
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
  }
  ~BrokenPipesIgnored() {
    constexpr timespec kNow{};
    if (sigismember(&before_, SIGPIPE) == 0) sigtimedwait(&pipe_, nullptr, &kNow);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  BrokenPipesIgnored(const BrokenPipesIgnored&) = delete;
  BrokenPipesIgnored& operator=(const BrokenPipesIgnored&) = delete;

 private:
  sigset_t pipe_;
  sigset_t before_;
};

class StderrLog : public LogSink {
 public:
  StderrLog(LogLevel lowest, bool plain) : lowest_(lowest), plain_(plain) {}

  bool wantsPlain() const override { return plain_; }
  bool wants(LogLevel level) const override { return level >= lowest_; }

  void plain(std::string_view line) override {
    if (plain_) write({}, line);
  }

  void leveled(LogLevel level, std::string_view subsystem, std::string_view category,
               std::string_view line) override {
    if (!wants(level)) return;
    write(fmt::format("[{}:{}] ", subsystem, category), line);
  }

 private:
  void write(std::string_view origin, std::string_view line) {
    std::string out = timeStamp() + " ";
    appendHarmless(out, text::sanitized(origin));
    appendHarmless(out, text::sanitized(line));
    out += '\n';
    // A long line may take a pipe several writes.
    const std::lock_guard lock(mutex_);
    const BrokenPipesIgnored ignored;
    for (std::string_view rest = out; !rest.empty();) {
      const ssize_t written = ::write(STDERR_FILENO, rest.data(), rest.size());
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) return;  // There is nowhere left to tell of it.
      rest.remove_prefix(static_cast<std::size_t>(written));
    }
  }

  const LogLevel lowest_;
  const bool plain_;
  std::mutex mutex_;
};

}  // namespace

std::shared_ptr<LogSink> makeStderrLog(LogLevel lowest, bool plain) {
  return std::make_shared<StderrLog>(lowest, plain);
}

}  // namespace quillfold
