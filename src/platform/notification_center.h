// Notifications of the system, by name.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "foundation/export.h"

namespace quillfold {

inline constexpr const char* UIApplicationDidBecomeActiveNotification =
    "UIApplicationDidBecomeActiveNotification";
inline constexpr const char* UIApplicationDidEnterBackgroundNotification =
    "UIApplicationDidEnterBackgroundNotification";
inline constexpr const char* UIApplicationWillTerminateNotification =
    "UIApplicationWillTerminateNotification";
inline constexpr const char* CNContactStoreDidChangeNotification =
    "CNContactStoreDidChangeNotification";

// Passes notifications from whoever posts them to whoever observes their name.
// Safe to use from any thread.
class QUILLFOLD_EXPORT NSNotificationCenter {
 public:
  // The centre of the installed platform.
  static std::shared_ptr<NSNotificationCenter> defaultCenter();

  // Calls the handler for each notification of that name, on the posting thread,
  // inside the post. An observer that is added twice is called twice. The
  // observer is only an identity and is not kept alive.
  void addObserver(const void* observer, std::string name, std::function<void()> handler);
  // Takes away all registrations of the observer. A post that is under way on
  // another thread may still call it.
  void removeObserver(const void* observer);
  // Called by the platform and by hosts.
  void postNotificationName(const std::string& name);

 private:
  struct Registration {
    const void* observer;
    std::string name;
    std::function<void()> handler;
  };
  std::mutex mutex_;
  std::vector<Registration> registrations_;
};

}  // namespace quillfold
