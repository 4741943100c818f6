// The main queue on a GLib main loop. Header only, over component core; link GLib yourself.
#pragma once

#include <glib.h>

#include <atomic>
#include <cstddef>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "quillfold/platform.h"

namespace quillfold::loops {

// Work becomes idle sources of the context at the default priority, in order; it runs while
// the host iterates the context. Waiting (Operation::get) iterates it on the thread that
// owns it or, while none does, the one that ran its work last, at first the one that made
// the queue. What a piece throws comes out of such a wait; in the host's own loop, which is
// C's, it ends the process.
class GLibQueue : public MainQueue {
 public:
  // Keeps the context; null: the global default one.
  explicit GLibQueue(GMainContext* context = nullptr)
      : context_(g_main_context_ref(context != nullptr ? context : g_main_context_default())) {}
  ~GLibQueue() override { g_main_context_unref(context_); }
  GLibQueue(const GLibQueue&) = delete;
  GLibQueue& operator=(const GLibQueue&) = delete;

  void async(Work work) override {
    {
      const std::lock_guard lock(pieces_->mutex);
      pieces_->waiting.push_back(std::move(work));
      if (pieces_->sources++ == 0) pieces_->self = pieces_;
    }
    GSource* source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(source, &run, pieces_.get(), &destroy);
    g_source_attach(source, context_);
    g_source_unref(source);
  }

  std::optional<bool> canRunHere() const override {
    if (g_main_context_is_owner(context_) != FALSE) return true;
    if (pieces_->home != std::this_thread::get_id()) return false;
    if (g_main_context_acquire(context_) == FALSE) return false;
    g_main_context_release(context_);
    return true;
  }
  bool runHereUntil(const std::function<bool()>& predicate) override {
    // Throughout: a loop that begins on another thread waits for the end of it.
    if (g_main_context_acquire(context_) == FALSE) return false;
    const Stay stay{context_, pieces_->waits};
    while (!predicate()) {
      g_main_context_iteration(context_, TRUE);
      if (pieces_->thrown) std::rethrow_exception(std::exchange(pieces_->thrown, nullptr));
    }
    return true;
  }

 private:
  // Each source of the context runs one piece. The sources hold it, perhaps longer than the
  // queue lives.
  struct Pieces {
    std::mutex mutex;
    std::deque<Work> waiting;
    std::size_t sources = 0;
    std::shared_ptr<Pieces> self;  // While there are sources.
    std::atomic<std::thread::id> home = std::this_thread::get_id();
    // How many waits there are, one inside the other, and what a piece has thrown in one.
    // Touched by the owner of the context only.
    int waits = 0;
    std::exception_ptr thrown;
  };

  struct Stay {
    GMainContext* context;
    int& waits;
    Stay(GMainContext* acquired, int& count) : context(acquired), waits(count) { ++waits; }
    Stay(const Stay&) = delete;
    Stay& operator=(const Stay&) = delete;
    ~Stay() {
      --waits;
      g_main_context_release(context);
    }
  };

  static gboolean run(gpointer data) noexcept {
    Pieces& pieces = *static_cast<Pieces*>(data);
    // The next ones wait until what one has thrown is out.
    if (pieces.thrown) return G_SOURCE_CONTINUE;
    pieces.home = std::this_thread::get_id();
    // Let go here: what the work holds dies on this thread, before the next piece.
    Work work;
    {
      const std::lock_guard lock(pieces.mutex);
      work = std::move(pieces.waiting.front());
      pieces.waiting.pop_front();
    }
    try {
      work();
    } catch (...) {
      if (pieces.waits == 0) std::terminate();
      pieces.thrown = std::current_exception();
    }
    return G_SOURCE_REMOVE;
  }
  static void destroy(gpointer data) {
    Pieces& pieces = *static_cast<Pieces*>(data);
    std::shared_ptr<Pieces> last;  // Goes behind the lock.
    const std::lock_guard lock(pieces.mutex);
    if (--pieces.sources == 0) last.swap(pieces.self);
  }

  GMainContext* const context_;
  const std::shared_ptr<Pieces> pieces_ = std::make_shared<Pieces>();
};

}  // namespace quillfold::loops
