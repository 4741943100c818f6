// The subscriptions of screens.
#include "events/event_subscription.h"
#include "events/event_wrapper_service.h"
#include "events/view_controller.h"
#include "platform/log.h"

namespace quillfold {

std::shared_ptr<QFEventSubscription> QFEventSubscription::initWithEvent(std::int64_t event,
                                                                        std::string identifier) {
  std::shared_ptr<QFEventSubscription> subscription(new QFEventSubscription);
  subscription->event_ = event;
  subscription->identifier_ = std::move(identifier);
  return subscription;
}

UIViewController::UIViewController() = default;

// Where no operator delete came first, and where the screen's own destructor has
// subscribed again.
UIViewController::~UIViewController() {
  if (!subscriptions_ || subscriptions_->empty()) return;
  os_log_error(
      os_log_create("com.quillfold", "ViewController"),
      "The subscriptions of a screen have outlived its destructor; make screens by makeScreen");
  qf_dealloc();
}

void UIViewController::subscribeToQuillfoldEvent(std::int64_t event, const std::string& identifier,
                                                 std::function<void()> handler) {
  QFEventWrapperService::sharedInstance()->subscribeToEvent(event, identifier, std::move(handler));
  addSubscription(QFEventSubscription::initWithEvent(event, identifier));
}

void UIViewController::unsubscribeFromQuillfoldEvent(std::int64_t event,
                                                     const std::string& identifier) {
  QFEventWrapperService::sharedInstance()->unsubscribeFromEvent(event, identifier);
  removeSubscriptionWithEvent(event, identifier);
}

std::vector<std::shared_ptr<QFEventSubscription>>& UIViewController::allSubscriptions() {
  if (!subscriptions_) subscriptions_ = std::make_unique<Subscriptions>();
  return *subscriptions_;
}

void UIViewController::addSubscription(std::shared_ptr<QFEventSubscription> subscription) {
  allSubscriptions().push_back(std::move(subscription));
}

void UIViewController::removeSubscriptionWithEvent(std::int64_t event,
                                                   const std::string& identifier) {
  std::erase_if(allSubscriptions(), [&](const auto& subscription) {
    return subscription->event() == event && subscription->identifier() == identifier;
  });
}

void UIViewController::qf_dealloc() {
  // Taken first: releasing a handler may come back to this screen, and a second
  // call must not take a pair from a later subscriber.
  const auto subscriptions = std::move(subscriptions_);
  if (!subscriptions) return;
  for (const auto& subscription : *subscriptions) {
    QFEventWrapperService::sharedInstance()->unsubscribeFromEvent(subscription->event(),
                                                                  subscription->identifier());
  }
}

}  // namespace quillfold
