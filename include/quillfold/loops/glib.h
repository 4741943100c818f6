// The main queue on a GLib main loop. Header only; link GLib yourself.
#pragma once

#include <glib.h>

#include <atomic>
#include <memory>
#include <thread>
#include <utility>

#include "quillfold/platform.h"

namespace quillfold::loops {

// Work becomes idle sources of the context at the default priority, in order; it runs while
// the host iterates the context. Waiting (Operation::get) iterates it on the thread that
// owns it or, while none does, the one that ran its work last, at first the one that made
// the queue.
class GLibQueue : public MainQueue {
 public:
  // Keeps the context; null: the global default one.
  explicit GLibQueue(GMainContext* context = nullptr)
      : context_(g_main_context_ref(context != nullptr ? context : g_main_context_default())) {}
  ~GLibQueue() override { g_main_context_unref(context_); }
  GLibQueue(const GLibQueue&) = delete;
  GLibQueue& operator=(const GLibQueue&) = delete;

  void async(Work work) override {
    GSource* source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(source, &run, new Piece{home_, std::move(work)}, &destroy);
    g_source_attach(source, context_);
    g_source_unref(source);
  }

  bool canRunHere() const override {
    if (g_main_context_is_owner(context_) != FALSE) return true;
    if (*home_ != std::this_thread::get_id()) return false;
    if (g_main_context_acquire(context_) == FALSE) return false;
    g_main_context_release(context_);
    return true;
  }
  void runHereUntil(const std::function<bool()>& predicate) override {
    while (!predicate())
      g_main_context_iteration(context_, TRUE);
  }

 private:
  using Home = std::atomic<std::thread::id>;
  // The context may hold it longer than the queue lives.
  struct Piece {
    std::shared_ptr<Home> home;
    Work work;
  };

  static gboolean run(gpointer data) {
    // Once, and let go here: what the work holds dies on this thread, before the next piece.
    const Piece piece = std::move(*static_cast<Piece*>(data));
    *piece.home = std::this_thread::get_id();
    piece.work();
    return G_SOURCE_REMOVE;
  }
  static void destroy(gpointer data) { delete static_cast<Piece*>(data); }

  GMainContext* const context_;
  const std::shared_ptr<Home> home_ = std::make_shared<Home>(std::this_thread::get_id());
};

}  // namespace quillfold::loops
