// GLib's things, owned.
#pragma once

#include <gio/gio.h>

#include <functional>
#include <memory>
#include <string>

namespace quillfold::desktop {

struct Release {
  void operator()(gchar* text) const { g_free(text); }
  void operator()(GVariant* value) const { g_variant_unref(value); }
  void operator()(GMainContext* context) const { g_main_context_unref(context); }
  void operator()(void* object) const { g_object_unref(object); }
};
template <typename T>
using Owned = std::unique_ptr<T, Release>;

// Where a call leaves its error.
class ErrorSlot {
 public:
  ErrorSlot() = default;
  ~ErrorSlot() { g_clear_error(&error_); }
  ErrorSlot(const ErrorSlot&) = delete;
  ErrorSlot& operator=(const ErrorSlot&) = delete;

  GError** out() { return &error_; }
  const GError* get() const { return error_; }
  bool isSet() const { return error_ != nullptr; }
  std::string text() const { return error_ ? error_->message : "no reason is given"; }

 private:
  GError* error_ = nullptr;
};

// A signal of an object, handled for as long as this lives; on a thread of the object's
// choice, where a handler that is under way may end a little later.
class SignalHandler {
 public:
  SignalHandler(gpointer object, const char* signal, std::function<void()> handle)
      : object_(static_cast<GObject*>(g_object_ref(object))),
        id_(g_signal_connect_data(object, signal, G_CALLBACK(&call),
                                  new std::function<void()>(std::move(handle)), &destroy,
                                  G_CONNECT_SWAPPED)) {}
  ~SignalHandler() {
    if (object_) g_signal_handler_disconnect(object_.get(), id_);
  }
  SignalHandler(SignalHandler&&) = default;

 private:
  // The arguments of the signal follow, and are of no use.
  static void call(gpointer handle) { (*static_cast<std::function<void()>*>(handle))(); }
  static void destroy(gpointer handle, GClosure*) {
    delete static_cast<std::function<void()>*>(handle);
  }

  Owned<GObject> object_;
  gulong id_;
};

}  // namespace quillfold::desktop
