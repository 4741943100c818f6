// System events as numbers, fanned out to named subscribers.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "foundation/export.h"

namespace quillfold {

class CNContactStore;
class NSNotificationCenter;

enum QFEventType : std::int64_t {
  QFEventAppDidBecomeActive = 0,
  QFEventAppDidEnterBackground = 1,
  QFEventContactStoreDidChange = 2,
  QFEventAppWasTerminated = 3,
  // Has no source in the system: a host announces a change of permission by
  // calling handleContactsAccessChanged.
  QFEventContactsAccessChanged = 4,
};

// The names of the events in log lines, by their numbers.
inline constexpr std::array<const char*, 5> kEventNameMap = {
    "com.quillfold.event.appDidBecomeActive",    "com.quillfold.event.appDidEnterBackground",
    "com.quillfold.event.contactStoreDidChange", "com.quillfold.event.appWasTerminated",
    "com.quillfold.event.contactsAccessChanged",
};

// Passes events on to handlers, always on the main queue and never inside the
// call that announced the event.
//
// A subscription is a pair of event and identifier; a second one with the same
// pair replaces the first. Handlers are read at delivery: one that was removed
// after the event is not called, one that was added is. The list is fixed for one
// delivery, so a handler may subscribe and unsubscribe. All operations may be
// called from any thread.
class QUILLFOLD_EXPORT QFEventWrapperService {
 public:
  using Handler = std::function<void()>;

  // Lives to the end of the process.
  static const std::shared_ptr<QFEventWrapperService>& sharedInstance();

  // The handler is kept until it is replaced or unsubscribed. An empty one is kept
  // and not called.
  void subscribeToEvent(std::int64_t event, const std::string& identifier, Handler handler);
  void unsubscribeFromEvent(std::int64_t event, const std::string& identifier);

  // Registers for the system's notifications. Not guarded: after a second start
  // each notification is delivered twice.
  void startObserving();
  // Takes all registrations away; subscriptions stay.
  void stopObserving();
  void registerForAppLifecycleEvents();
  void registerForContactStoreChanges();
  // Takes the subscriptions of the five events away, but for deliveries under way.
  void setupEventHandlers();

  void notifySubscribersForEvent(std::int64_t event);
  void handleAppDidBecomeActive();
  void handleAppDidEnterBackground();
  void handleAppWillTerminate();
  void handleContactStoreDidChange();
  void handleContactsAccessChanged();

  // The subscriptions of this moment: the handlers of each event by identifier.
  std::map<std::int64_t, std::map<std::string, Handler>> eventHandlers() const;

  // Where registrations are made; stopObserving uses the default centre. Null is
  // ignored.
  std::shared_ptr<NSNotificationCenter> notificationCenter() const;
  void setNotificationCenter(std::shared_ptr<NSNotificationCenter> center);

 private:
  struct Subscribers;

  QFEventWrapperService();
  void observe(const char* notification, void (QFEventWrapperService::*handle)());
  std::shared_ptr<Subscribers> subscribersOf(std::int64_t event) const;

  mutable std::mutex mutex_;
  std::map<std::int64_t, std::shared_ptr<Subscribers>> eventHandlers_;
  std::shared_ptr<NSNotificationCenter> notificationCenter_;
  std::shared_ptr<CNContactStore> contactStore_;
};

}  // namespace quillfold
