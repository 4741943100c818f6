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
// With a book on this device that fails whenever it is read, for that is done each time.
constexpr milliseconds kLongestVainWait{300'000};
constexpr int kDoublings = 11;
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
  // Several books tell of one death, some of them when there is another connection already.
  const auto onDeath = [number = ++connection_](LiveBooks& self) {
    if (self.connection_ == number) self.drop();
  };
  return BookSession::open(*service_, paths_,
                           {.onChange = [this] { noteChange(); },
                            // Most of what a registry knows are no address books.
                            .onRegistryChange = posted([](LiveBooks& self) { self.checkShape(); }),
                            .onDeath = posted(onDeath)},
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
  forgive(path);
}

void LiveBooks::forgive(const std::string& path) {
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
    if (session_->has(path) && !session_->read(path, cancellable).failure.empty()) {
      noteUnreadable(path);
    } else {
      forgive(path);
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
  const milliseconds longest = vainReads_ > 1 ? kLongestVainWait : kLongestWait;
  nextTry_.start(std::min(kFirstWait * (1 << doublings), longest), handlers_.onLost);
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
  const auto onAnswers = posted([](LiveBooks& self) { self.endSilence(); });
  if (!service_) return DesktopService::awaitBus(closing_.get(), onAnswers);
  service_->awaitAnswers(closing_.get(), onAnswers);
}

void LiveBooks::endSilence() {
  --silent_;
  lost_ = true;
  tries_ = vainReads_;
  nextTry_.stop();
  tryAgainLater();
}

}  // namespace quillfold::desktop
