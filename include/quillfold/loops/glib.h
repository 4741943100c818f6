// The main queue on a GLib main loop. Header only; link GLib yourself.
#pragma once

#include <glib.h>

#include <memory>
#include <utility>

#include "quillfold/platform.h"

namespace quillfold::loops {

// Work becomes idle sources of the context at the default priority, in order; it runs while
// the host iterates the context. Waiting (Operation::get) works on the thread that owns the
// context or could, and iterates it.
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
    g_source_set_callback(source, &run, new Work(std::move(work)), &destroy);
    g_source_attach(source, context_);
    g_source_unref(source);
  }

  bool canRunHere() const override {
    // Owned by this thread, or by none.
    if (g_main_context_acquire(context_) == FALSE) return false;
    g_main_context_release(context_);
    return true;
  }
  void runHereUntil(const std::function<bool()>& predicate) override {
    while (!predicate())
      g_main_context_iteration(context_, TRUE);
  }

 private:
  static gboolean run(gpointer data) {
    // Once, and let go here: what the work holds dies on this thread, before the next piece.
    const Work work = std::move(*static_cast<Work*>(data));
    work();
    return G_SOURCE_REMOVE;
  }
  static void destroy(gpointer data) { delete static_cast<Work*>(data); }

  GMainContext* const context_;
};

}  // namespace quillfold::loops
