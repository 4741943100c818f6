// The permission to read the device's contacts.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "foundation/error.h"
#include "foundation/export.h"

namespace quillfold {

class UIViewController;

enum QFContactsAuthorizationStatus : std::int64_t {
  QFContactsAuthorizationStatusNotDetermined = 0,
  QFContactsAuthorizationStatusAuthorized = 1,
  // Never produced, though every test below knows it.
  QFContactsAuthorizationStatusLimited = 2,
  QFContactsAuthorizationStatusDenied = 3,
  QFContactsAuthorizationStatusRestricted = 4,
};

// All operations may be called from any thread.
class QUILLFOLD_EXPORT QFContactsAuthorizationService {
 public:
  using AccessCompletion = std::function<void(std::int64_t status, ErrorPtr error)>;

  static const std::shared_ptr<QFContactsAuthorizationService>& sharedInstance();

  // Asks the user if nothing has been decided yet. The completion, if any, runs
  // on the main queue with the status, which alone tells a refusal, and the
  // platform's error, if there was one: on Linux a refusal comes with one.
  void requestAccessWithCompletion(AccessCompletion completion);

  // The platform's answer at this moment.
  std::int64_t checkAccessStatus();
  // Authorized or limited.
  bool hasContactsReadAccess();
  // Denied or restricted.
  bool shouldShowSettingsAlert();

  // Shows the alert that leads the user to the settings, if access is denied or
  // restricted. On the main queue.
  void showSettingsAlertViewFromViewController(UIViewController& viewController);
};

}  // namespace quillfold
