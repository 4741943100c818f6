// The time that one fetch has.
#pragma once

#include <algorithm>
#include <chrono>
#include <set>
#include <string>
#include <utility>

#include "adapters/desktop/glib_thread.h"

namespace quillfold::desktop {

// Books in the network have half of it together, in even shares. What one leaves over goes
// to those behind it. Of one thread.
class FetchTime {
 public:
  explicit FetchTime(std::chrono::milliseconds limit)
      : end_(Clock::now() + limit), shared_(limit / 2) {}

  Deadline end() const { return end_; }

  // Those in the network that have to have a share, until they are done.
  void setBooks(std::set<std::string> books) { books_ = std::move(books); }
  void finish(const std::string& book) { done_.insert(book); }

  // Gives what the work does with the end of one share.
  template <typename Work>
  auto spend(Work work) {
    const Deadline begin = Clock::now();
    const auto waiting = std::ranges::count_if(
        books_, [this](const std::string& book) { return !done_.contains(book); });
    auto result = work(std::min(end_, begin + shared_ / std::max(waiting, decltype(waiting){1})));
    shared_ -= std::min(shared_, Clock::now() - begin);
    return result;
  }

 private:
  using Clock = std::chrono::steady_clock;

  Deadline end_;
  Clock::duration shared_;
  std::set<std::string> books_;
  std::set<std::string> done_;
};

}  // namespace quillfold::desktop
