#include "adapters/desktop/desktop_service.h"

#include <limits>
#include <string_view>
#include <utility>

#include "foundation/format.h"

namespace quillfold::desktop {

namespace {

constexpr std::string_view kSources = "org.gnome.evolution.dataserver.Sources";
constexpr std::string_view kBooks = "org.gnome.evolution.dataserver.AddressBook";
// Callers cancel.
constexpr int kNoTimeout = std::numeric_limits<int>::max();

constexpr auto kOwn = static_cast<GDBusConnectionFlags>(
    G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);

Owned<GDBusConnection> ownConnection(GCancellable* cancellable, GError** error) {
  const Owned<gchar> address(
      g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, cancellable, error));
  if (!address) return nullptr;
  return Owned<GDBusConnection>(
      g_dbus_connection_new_for_address_sync(address.get(), kOwn, nullptr, cancellable, error));
}

Owned<GVariant> askBus(GDBusConnection* bus, const char* method, GVariant* arguments,
                       GCancellable* cancellable, GError** error) {
  return Owned<GVariant>(g_dbus_connection_call_sync(
      bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
      arguments, nullptr, G_DBUS_CALL_FLAGS_NONE, kNoTimeout, cancellable, error));
}

// The names that the bus has or could start a program for.
std::string namesOf(GDBusConnection* bus, const char* method, GCancellable* cancellable,
                    std::string& sources, std::string& books) {
  ErrorSlot error;
  const Owned<GVariant> reply = askBus(bus, method, nullptr, cancellable, error.out());
  if (!reply) return fmt::format("the session bus does not answer: {}", error.text());
  const Owned<GVariant> names(g_variant_get_child_value(reply.get(), 0));
  for (gsize i = 0; i < g_variant_n_children(names.get()); ++i) {
    const Owned<GVariant> name(g_variant_get_child_value(names.get(), i));
    const std::string_view text = g_variant_get_string(name.get(), nullptr);
    if (text.starts_with(kSources)) sources = text;
    if (text.starts_with(kBooks)) books = text;
  }
  return "";
}

// A ping would be answered even while the main loop hangs.
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
constexpr const char* kProbe = "GetAll";

// Another release may not know the object that was asked.
bool isAnswer(const GError* error) {
  for (const GDBusError answer : {G_DBUS_ERROR_UNKNOWN_METHOD, G_DBUS_ERROR_UNKNOWN_OBJECT,
                                  G_DBUS_ERROR_UNKNOWN_INTERFACE, G_DBUS_ERROR_INVALID_ARGS}) {
    if (g_error_matches(error, G_DBUS_ERROR, answer)) return true;
  }
  return error == nullptr;
}

}  // namespace

std::optional<DesktopService> DesktopService::find(GCancellable* cancellable,
                                                   std::string& failure) {
  ErrorSlot error;
  DesktopService service;
  service.bus_ = ownConnection(cancellable, error.out());
  if (service.bus_) {
    service.shared_.reset(g_bus_get_sync(G_BUS_TYPE_SESSION, cancellable, error.out()));
  }
  if (!service.shared_) {
    failure = fmt::format("there is no session bus: {}", error.text());
    return std::nullopt;
  }
  g_dbus_connection_set_exit_on_close(service.shared_.get(), FALSE);
  // As which it stays while anybody holds it; the registry would be empty.
  if (g_dbus_connection_is_closed(service.shared_.get())) {
    failure = "the process still holds a connection to a session bus that has gone";
    return std::nullopt;
  }
  for (const char* method : {"ListActivatableNames", "ListNames"}) {
    failure = namesOf(service.bus_.get(), method, cancellable, service.sources_.name,
                      service.books_.name);
    if (!failure.empty()) return std::nullopt;
  }
  if (!service.sources_.name.empty() && !service.books_.name.empty()) return service;
  failure = "the session bus knows no Evolution Data Server (package evolution-data-server)";
  return std::nullopt;
}

bool DesktopService::answers(const std::string& name, const Daemon& daemon, GDBusCallFlags flags,
                             int limit, GCancellable* cancellable, ErrorSlot& error) const {
  const Owned<GVariant> reply(g_dbus_connection_call_sync(
      bus_.get(), name.c_str(), daemon.path, kProperties, kProbe,
      g_variant_new("(s)", daemon.interface), nullptr, flags, limit, cancellable, error.out()));
  return isAnswer(error.get());
}

std::string DesktopService::start(GCancellable* cancellable) {
  for (const Daemon* daemon : {&sources_, &books_}) {
    ErrorSlot error;
    if (!answers(daemon->name, *daemon, G_DBUS_CALL_FLAGS_NONE, kNoTimeout, cancellable, error)) {
      return fmt::format("{} does not answer: {}", daemon->name, error.text());
    }
  }
  ErrorSlot error;
  const Owned<GVariant> owner =
      askBus(bus_.get(), "GetNameOwner", g_variant_new("(s)", books_.name.c_str()), cancellable,
             error.out());
  if (!owner) return fmt::format("{} has gone: {}", books_.name, error.text());
  const gchar* unique = nullptr;
  g_variant_get(owner.get(), "(&s)", &unique);
  booksOwner_ = unique;
  return "";
}

Pulse DesktopService::pulse(std::chrono::milliseconds limit) const {
  ErrorSlot error;
  if (answers(booksOwner_, books_, G_DBUS_CALL_FLAGS_NO_AUTO_START, static_cast<int>(limit.count()),
              nullptr, error)) {
    return Pulse::Beats;
  }
  const bool silent = g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_TIMED_OUT);
  return silent ? Pulse::Silent : Pulse::Gone;
}

void DesktopService::awaitAnswers(GCancellable* cancellable,
                                  std::function<void()> onAnswers) const {
  struct Pending {
    ~Pending() { onAnswers(); }
    std::function<void()> onAnswers;
  };
  using Share = std::shared_ptr<Pending>;
  const Share pending(new Pending{std::move(onAnswers)});
  for (const Daemon* daemon : {&sources_, &books_}) {
    g_dbus_connection_call(
        bus_.get(), daemon->name.c_str(), daemon->path, kProperties, kProbe,
        g_variant_new("(s)", daemon->interface), nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START,
        kNoTimeout, cancellable,
        [](GObject*, GAsyncResult*, gpointer share) { delete static_cast<Share*>(share); },
        new Share(pending));
  }
}

void DesktopService::awaitBus(GCancellable* cancellable, std::function<void()> onBus) {
  const Owned<gchar> address(
      g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, cancellable, nullptr));
  if (!address) return onBus();
  using Callback = std::function<void()>;
  g_dbus_connection_new_for_address(
      address.get(), kOwn, nullptr, cancellable,
      [](GObject*, GAsyncResult* result, gpointer callback) {
        const Owned<GDBusConnection> bus(g_dbus_connection_new_for_address_finish(result, nullptr));
        (*std::unique_ptr<Callback>(static_cast<Callback*>(callback)))();
      },
      new Callback(std::move(onBus)));
}

NameWatch::NameWatch(const DesktopService& service, std::function<void()> onGone)
    : onGone_(std::move(onGone)),
      id_(g_bus_watch_name_on_connection(
          service.bus(), service.sources().c_str(), G_BUS_NAME_WATCHER_FLAGS_NONE, nullptr,
          [](GDBusConnection*, const gchar*, gpointer self) {
            static_cast<NameWatch*>(self)->onGone_();
          },
          this, nullptr)) {}

}  // namespace quillfold::desktop
