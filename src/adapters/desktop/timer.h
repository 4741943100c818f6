// Work that is done later on the same thread.
#pragma once

#include <glib.h>

#include <chrono>
#include <functional>
#include <utility>

namespace quillfold::desktop {

// Of a thread that has a main context of its own.
class Timer {
 public:
  Timer() = default;
  ~Timer() { stop(); }
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

  bool isRunning() const { return source_ != nullptr; }

  // In place of what it was started for before.
  void start(std::chrono::milliseconds time, std::function<void()> work) {
    stop();
    work_ = std::move(work);
    source_ = g_timeout_source_new(static_cast<guint>(time.count()));
    g_source_set_callback(source_, &fire, this, nullptr);
    g_source_attach(source_, g_main_context_get_thread_default());
  }

  void stop() {
    if (!source_) return;
    g_source_destroy(source_);
    g_source_unref(source_);
    source_ = nullptr;
  }

 private:
  static gboolean fire(gpointer timer) {
    Timer& self = *static_cast<Timer*>(timer);
    self.stop();
    std::exchange(self.work_, nullptr)();
    return G_SOURCE_REMOVE;
  }

  GSource* source_ = nullptr;
  std::function<void()> work_;
};

}  // namespace quillfold::desktop
