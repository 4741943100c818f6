// Screens of a host application, and the alert that the library shows on one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "foundation/export.h"

namespace quillfold {

class QFEventSubscription;

enum UIAlertActionStyle : std::int64_t {
  UIAlertActionStyleDefault = 0,
  UIAlertActionStyleCancel = 1,
};
enum UIAlertControllerStyle : std::int64_t { UIAlertControllerStyleAlert = 1 };

// One button of an alert. The handler may be empty.
struct UIAlertAction {
  std::string title;
  std::int64_t style = UIAlertActionStyleDefault;
  std::function<void()> handler;

  static UIAlertAction actionWithTitle(std::string title, std::int64_t style,
                                       std::function<void()> handler) {
    return {std::move(title), style, std::move(handler)};
  }
};

// The base class of a host's screens. A screen subscribes to the events of
// QFEventWrapperService and forgets about it: when it dies, its subscriptions go
// before its own destructor starts, with no line in the screen's class.
//
// That holds for every `delete`: of a plain pointer, by unique_ptr, by a shared_ptr
// that was made from `new` or by makeScreen. It passes through the destroying
// operator delete below, which a screen with an operator delete of its own hides.
// `delete[]`, std::make_shared and a screen that is a member or a local variable don't pass
// through it: there the subscriptions go when the destructor of this base class runs,
// after that of the screen, and an error line tells of it. A delivery can't come in
// between as long as the screen dies on the main queue and its destructor doesn't run
// that queue.
//
// GCC 12 crashes on a class with this one as a virtual base, unless it is final.
//
// All operations and the death of a screen belong on the main queue. The service
// owns the handlers: one that owns its screen keeps it alive for good.
class QUILLFOLD_EXPORT UIViewController {
 public:
  UIViewController();
  virtual ~UIViewController();
  UIViewController(const UIViewController&) = delete;
  UIViewController& operator=(const UIViewController&) = delete;

  // Subscribes under the identifier, which is shared with all other subscribers of
  // the event, and notes the pair. A pair that is noted twice has one handler.
  void subscribeToQuillfoldEvent(std::int64_t event, const std::string& identifier,
                                 std::function<void()> handler);
  // Removes the handler and all notes of the pair.
  void unsubscribeFromQuillfoldEvent(std::int64_t event, const std::string& identifier);

  // The notes, made on first use.
  std::vector<std::shared_ptr<QFEventSubscription>>& allSubscriptions();
  void addSubscription(std::shared_ptr<QFEventSubscription> subscription);
  void removeSubscriptionWithEvent(std::int64_t event, const std::string& identifier);
  // Removes every noted pair from the service, and the notes.
  void qf_dealloc();

  // Called in place of the destructor by every `delete`.
  static void operator delete(UIViewController* screen, std::destroying_delete_t);
  static void operator delete(UIViewController* screen, std::destroying_delete_t,
                              std::align_val_t alignment);
  // The ordinary ones, which go with these and with a constructor that throws. Not
  // inline, or compilers take them for a mismatch.
  static void* operator new(std::size_t size);
  static void* operator new(std::size_t size, std::align_val_t alignment);
  static void* operator new(std::size_t size, const std::nothrow_t& tag) noexcept;
  static void* operator new(std::size_t size, std::align_val_t alignment,
                            const std::nothrow_t& tag) noexcept;
  static void* operator new(std::size_t, void* place) noexcept { return place; }
  static void operator delete(void* memory);
  static void operator delete(void* memory, std::align_val_t alignment);
  static void operator delete(void* memory, const std::nothrow_t& tag);
  static void operator delete(void* memory, std::align_val_t alignment, const std::nothrow_t& tag);

 private:
  using Subscriptions = std::vector<std::shared_ptr<QFEventSubscription>>;
  std::unique_ptr<Subscriptions> subscriptions_;
};

// A shared screen whose subscriptions go before its destructor starts, as those of
// one from std::make_shared don't.
template <typename Screen, typename... Arguments>
std::shared_ptr<Screen> makeScreen(Arguments&&... arguments) {
  return std::shared_ptr<Screen>(new Screen(std::forward<Arguments>(arguments)...));
}

// A text with buttons. The host shows it and calls the handler of the button that
// was chosen, on the main queue.
class QUILLFOLD_EXPORT UIAlertController : public UIViewController {
 public:
  static std::shared_ptr<UIAlertController> alertControllerWithTitle(std::string title,
                                                                     std::string message,
                                                                     std::int64_t preferredStyle);

  void addAction(UIAlertAction action) { actions_.push_back(std::move(action)); }

  const std::string& title() const { return title_; }
  const std::string& message() const { return message_; }
  std::int64_t preferredStyle() const { return preferredStyle_; }
  const std::vector<UIAlertAction>& actions() const { return actions_; }

 private:
  UIAlertController() = default;
  std::string title_;
  std::string message_;
  std::int64_t preferredStyle_ = UIAlertControllerStyleAlert;
  std::vector<UIAlertAction> actions_;
};

}  // namespace quillfold
