#include "events/event_wrapper_service.h"

#include <vector>

#include "foundation/format.h"
#include "platform/contact_store.h"
#include "platform/dispatch.h"
#include "platform/log_line.h"
#include "platform/notification_center.h"

namespace quillfold {

namespace {

std::string eventName(std::int64_t event) {
  const auto index = static_cast<std::uint64_t>(event);
  return index < kEventNameMap.size() ? kEventNameMap[index] : fmt::format("event {}", event);
}

const OSLogPtr& eventLogger() {
  static const auto* logger = new OSLogPtr(os_log_create("com.quillfold", "EventWrapper"));
  return *logger;
}

}  // namespace

// The handlers of one event. Shared with deliveries under way.
struct QFEventWrapperService::Subscribers {
  std::mutex mutex;
  std::map<std::string, std::shared_ptr<const Handler>> handlers;

  std::size_t count() {
    const std::lock_guard lock(mutex);
    return handlers.size();
  }
  std::vector<std::shared_ptr<const Handler>> allValues() {
    const std::lock_guard lock(mutex);
    std::vector<std::shared_ptr<const Handler>> out;
    for (const auto& [identifier, handler] : handlers)
      out.push_back(handler);
    return out;
  }
  // Returns what stood there, so that it is released outside the lock.
  std::shared_ptr<const Handler> replace(const std::string& identifier, Handler handler) {
    auto fresh = std::make_shared<const Handler>(std::move(handler));
    const std::lock_guard lock(mutex);
    std::swap(handlers[identifier], fresh);
    return fresh;
  }
  std::shared_ptr<const Handler> remove(const std::string& identifier) {
    const std::lock_guard lock(mutex);
    const auto node = handlers.extract(identifier);
    return node ? node.mapped() : nullptr;
  }
};

const std::shared_ptr<QFEventWrapperService>& QFEventWrapperService::sharedInstance() {
  static const auto* instance =
      new std::shared_ptr<QFEventWrapperService>(new QFEventWrapperService);
  return *instance;
}

QFEventWrapperService::QFEventWrapperService()
    : notificationCenter_(NSNotificationCenter::defaultCenter()),
      contactStore_(CNContactStore::create()) {
  setupEventHandlers();
  os_log_info(eventLogger(), "QFEventWrapperService initialized");
}

void QFEventWrapperService::setupEventHandlers() {
  std::map<std::int64_t, std::shared_ptr<Subscribers>> fresh;
  for (std::int64_t event = 0; event < std::ssize(kEventNameMap); ++event) {
    fresh[event] = std::make_shared<Subscribers>();
  }
  const std::lock_guard lock(mutex_);
  fresh.merge(eventHandlers_);  // Events of other numbers keep theirs.
  eventHandlers_.swap(fresh);
}

std::shared_ptr<QFEventWrapperService::Subscribers> QFEventWrapperService::subscribersOf(
    std::int64_t event) const {
  const std::lock_guard lock(mutex_);
  const auto it = eventHandlers_.find(event);
  return it == eventHandlers_.end() ? nullptr : it->second;
}

void QFEventWrapperService::subscribeToEvent(std::int64_t event, const std::string& identifier,
                                             Handler handler) {
  std::shared_ptr<Subscribers> subscribers;
  {
    const std::lock_guard lock(mutex_);
    auto& slot = eventHandlers_[event];
    if (!slot) slot = std::make_shared<Subscribers>();
    subscribers = slot;
  }
  subscribers->replace(identifier, std::move(handler));
  os_log_debug(eventLogger(), "Subscribed to {} with identifier: {}", eventName(event), identifier);
}

void QFEventWrapperService::unsubscribeFromEvent(std::int64_t event,
                                                 const std::string& identifier) {
  if (const auto subscribers = subscribersOf(event)) subscribers->remove(identifier);
  os_log_debug(eventLogger(), "Unsubscribed from {} with identifier: {}", eventName(event),
               identifier);
}

void QFEventWrapperService::startObserving() {
  registerForAppLifecycleEvents();
  registerForContactStoreChanges();
  os_log_info(eventLogger(), "Started observing system events");
}

void QFEventWrapperService::observe(const char* notification,
                                    void (QFEventWrapperService::*handle)()) {
  // The service is never destroyed.
  notificationCenter()->addObserver(this, notification, [this, handle] { (this->*handle)(); });
}

void QFEventWrapperService::registerForAppLifecycleEvents() {
  observe(UIApplicationDidBecomeActiveNotification,
          &QFEventWrapperService::handleAppDidBecomeActive);
  observe(UIApplicationDidEnterBackgroundNotification,
          &QFEventWrapperService::handleAppDidEnterBackground);
  observe(UIApplicationWillTerminateNotification, &QFEventWrapperService::handleAppWillTerminate);
  os_log_debug(eventLogger(), "Registered for app lifecycle notifications");
}

void QFEventWrapperService::registerForContactStoreChanges() {
  observe(CNContactStoreDidChangeNotification, &QFEventWrapperService::handleContactStoreDidChange);
  os_log_debug(eventLogger(), "Registered for contact store change notifications");
}

void QFEventWrapperService::stopObserving() {
  // The default centre on purpose, not the one that the registrations went to.
  NSNotificationCenter::defaultCenter()->removeObserver(this);
  os_log_info(eventLogger(), "Stopped observing system events");
}

void QFEventWrapperService::notifySubscribersForEvent(std::int64_t event) {
  const auto subscribers = subscribersOf(event);
  if (!subscribers || subscribers->count() == 0) return;
  dispatchMain([subscribers, event] {
    for (const auto& handler : subscribers->allValues())
      if (*handler) (*handler)();
    os_log_debug(eventLogger(), "Notified {} subscribers for event: {}", subscribers->count(),
                 eventName(event));
  });
}

void QFEventWrapperService::handleAppDidBecomeActive() {
  notifySubscribersForEvent(QFEventAppDidBecomeActive);
}
void QFEventWrapperService::handleAppDidEnterBackground() {
  notifySubscribersForEvent(QFEventAppDidEnterBackground);
}
void QFEventWrapperService::handleAppWillTerminate() {
  notifySubscribersForEvent(QFEventAppWasTerminated);
}
void QFEventWrapperService::handleContactStoreDidChange() {
  notifySubscribersForEvent(QFEventContactStoreDidChange);
}
void QFEventWrapperService::handleContactsAccessChanged() {
  notifySubscribersForEvent(QFEventContactsAccessChanged);
}

std::map<std::int64_t, std::map<std::string, QFEventWrapperService::Handler>>
QFEventWrapperService::eventHandlers() const {
  std::map<std::int64_t, std::shared_ptr<Subscribers>> events;
  {
    const std::lock_guard lock(mutex_);
    events = eventHandlers_;
  }
  std::map<std::int64_t, std::map<std::string, Handler>> out;
  for (const auto& [event, subscribers] : events) {
    const std::lock_guard lock(subscribers->mutex);
    auto& handlers = out[event];
    for (const auto& [identifier, handler] : subscribers->handlers)
      handlers[identifier] = *handler;
  }
  return out;
}

std::shared_ptr<NSNotificationCenter> QFEventWrapperService::notificationCenter() const {
  const std::lock_guard lock(mutex_);
  return notificationCenter_;
}

void QFEventWrapperService::setNotificationCenter(std::shared_ptr<NSNotificationCenter> center) {
  if (!center) return;
  const std::lock_guard lock(mutex_);
  notificationCenter_.swap(center);
}

}  // namespace quillfold
