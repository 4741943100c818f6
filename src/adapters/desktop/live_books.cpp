#include "adapters/desktop/live_books.h"

#include <algorithm>
#include <utility>

namespace quillfold::desktop {

namespace {

using milliseconds = LiveBooks::milliseconds;

// So long a pause ends a burst, and so long a burst is told even without one.
constexpr milliseconds kPause{100};
constexpr milliseconds kLongestBurst{2000};

// A lost connection is tried for again and again, each time after twice as long up to a
// limit. One that stood for some time starts from the beginning.
constexpr milliseconds kFirstWait{250};
constexpr milliseconds kLongestWait{60'000};
constexpr int kDoublings = 8;
constexpr std::chrono::minutes kGoodTime{1};

}  // namespace

std::function<void()> LiveBooks::posted(std::function<void(LiveBooks&)> work) {
  return [work = std::move(work), weak = weak_from_this(), post = handlers_.post] {
    post([work, weak] {
      if (const auto self = weak.lock()) work(*self);
    });
  };
}

BookSession* LiveBooks::session(GCancellable* cancellable, std::string& failure) {
  if (session_) return session_.get();
  failure = kSilence;
  if (!isSilent()) session_ = connect(cancellable, failure);
  connected_ = Clock::now();
  if (!session_) {
    lost_ = true;
    tryAgainLater();
  }
  return session_.get();
}

std::unique_ptr<BookSession> LiveBooks::connect(GCancellable* cancellable, std::string& failure) {
  failure.clear();
  // The connection of one that is dead must not be found again.
  service_.reset();
  service_ = DesktopService::find(cancellable, failure);
  if (!service_) return nullptr;
  return BookSession::open(*service_, paths_,
                           {.onChange = [this] { noteChange(); },
                            // Most of what a registry knows are no address books.
                            .onRegistryChange = posted([](LiveBooks& self) { self.checkShape(); }),
                            .onDeath = posted([](LiveBooks& self) { self.drop(); })},
                           cancellable, failure);
}

void LiveBooks::checkShape() {
  if (session_ && session_->hasNewShape()) noteChange();
}

void LiveBooks::tellReturn() {
  if (std::exchange(lost_, false)) noteChange();
}

void LiveBooks::noteRead(const std::string& path) {
  read_.insert(path);
  unreadable_.erase(path);
  if (unreadable_.empty()) vainReads_ = 0;
}

void LiveBooks::noteUnreadable(const std::string& path) {
  unreadable_.insert(path);
  ++vainReads_;
  drop();
}

bool LiveBooks::isReadable(GCancellable* cancellable) {
  while (session_ && !unreadable_.empty()) {
    const std::string path = *unreadable_.begin();
    if (!session_->has(path) || session_->read(path, cancellable).failure.empty()) {
      noteRead(path);
    } else {
      noteUnreadable(path);
    }
  }
  return session_ != nullptr;
}

void LiveBooks::drop() {
  if (!std::exchange(session_, nullptr)) return;
  ++changes_;
  lost_ = true;
  if (Clock::now() - connected_ > kGoodTime) tries_ = vainReads_;
  tryAgainLater();
}

void LiveBooks::tryAgainLater() {
  if (nextTry_.isRunning()) return;
  const int doublings = std::min(tries_++, kDoublings);
  nextTry_.start(std::min(kFirstWait * (1 << doublings), kLongestWait), handlers_.onLost);
}

bool LiveBooks::leaveOut(const std::string& path, const std::string& reason, milliseconds limit) {
  if (!session_) return false;
  switch (service_->pulse(limit)) {
    case Pulse::Gone:
      drop();
      return false;
    case Pulse::Silent:
      noteSilence();
      awaitAnswers();
      return false;
    case Pulse::Beats:
      break;
  }
  session_->leaveOut(path, read_.contains(path) ? "stays as it was read last" : "is left out",
                     reason);
  return true;
}

void LiveBooks::close() {
  g_cancellable_cancel(closing_.get());
  session_ = nullptr;
  service_.reset();
  nextTry_.stop();
  pause_.stop();
}

void LiveBooks::noteChange() {
  ++changes_;
  const Clock::time_point now = Clock::now();
  if (!pause_.isRunning()) burstEnd_ = now + kLongestBurst;
  const auto left = std::chrono::duration_cast<milliseconds>(burstEnd_ - now);
  pause_.start(std::clamp(left, milliseconds(0), kPause), handlers_.onChange);
}

void LiveBooks::awaitAnswers() {
  drop();
  if (!service_) return endSilence();
  service_->awaitAnswers(closing_.get(), posted([](LiveBooks& self) { self.endSilence(); }));
}

void LiveBooks::endSilence() {
  --silent_;
  lost_ = true;
  tries_ = vainReads_;
  nextTry_.stop();
  tryAgainLater();
}

}  // namespace quillfold::desktop
