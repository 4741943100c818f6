#include "apps/quillfold/progress.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <iostream>

namespace host {

using namespace quillfold;

namespace {

std::string spanText(double seconds) {
  const auto whole = static_cast<std::int64_t>(std::ceil(seconds));
  if (whole < 60) return std::to_string(whole) + " s";
  if (whole < 3600) return std::to_string(whole / 60) + " min " + std::to_string(whole % 60) + " s";
  return std::to_string(whole / 3600) + " h " + std::to_string(whole % 3600 / 60) + " min";
}

}  // namespace

Progress::Progress(bool lines)
    : bar_(isatty(STDERR_FILENO) != 0), lines_(lines && !bar_), start_(currentTime()) {}

void Progress::end() {
  if (std::exchange(shown_, false)) std::cerr << "\r\x1b[K" << std::flush;
}

std::function<void(const SyncProgress&)> Progress::shower() {
  return [this](const SyncProgress& progress) { show(progress); };
}

// Contacts in a second and the time that the rest takes at that pace.
std::string Progress::pace() const {
  const double seconds = currentTime() - start_;
  const auto done = static_cast<double>(last_.uploaded - first_.uploaded);
  if (done <= 0 || seconds <= 0) return {};
  const double rate = done / seconds;
  const double left = static_cast<double>(last_.toUpload - last_.uploaded) / rate;
  return ", " + std::to_string(static_cast<std::int64_t>(std::max(1.0, rate))) + "/s, " +
         spanText(left) + " left";
}

void Progress::show(const SyncProgress& progress) {
  constexpr std::int64_t kWidth = 30;
  last_ = progress;
  if (progress.toUpload <= 0) return;
  if (progress.uploaded == 0) {
    first_ = progress;
    start_ = currentTime();
  }
  const std::string count =
      std::to_string(progress.uploaded) + " of " + std::to_string(progress.toUpload) + pace();
  if (bar_) {
    const std::int64_t share = std::min(progress.uploaded, progress.toUpload);
    const auto filled = static_cast<std::size_t>(share * kWidth / progress.toUpload);
    std::cerr << "\r\x1b[K  [" << std::string(filled, '#')
              << std::string(static_cast<std::size_t>(kWidth) - filled, '.') << "] " << count
              << std::flush;
    shown_ = true;
  } else if (lines_ && progress.uploaded > 0) {
    std::cerr << count << std::endl;
  }
}

}  // namespace host
