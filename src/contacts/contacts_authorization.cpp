#include "contacts/contacts_authorization.h"

#include "events/view_controller.h"
#include "platform/contact_store.h"
#include "platform/dispatch.h"
#include "platform/log_line.h"
#include "platform/platform.h"

namespace quillfold {

const std::shared_ptr<QFContactsAuthorizationService>&
QFContactsAuthorizationService::sharedInstance() {
  static const auto* instance =
      new std::shared_ptr(std::make_shared<QFContactsAuthorizationService>());
  return *instance;
}

void QFContactsAuthorizationService::requestAccessWithCompletion(AccessCompletion completion) {
  const auto store = CNContactStore::create();
  // Moved on and never copied, so that what the completion holds is let go on the main
  // queue.
  store->requestAccessForEntityType(
      CNEntityTypeContacts,
      [completion = std::move(completion), store](bool, const ErrorPtr& error) mutable {
        dispatchMain([completion = std::move(completion), error] {
          const std::int64_t status = sharedInstance()->checkAccessStatus();
          if (completion) completion(status, error);
        });
      });
}

std::int64_t QFContactsAuthorizationService::checkAccessStatus() {
  switch (CNContactStore::authorizationStatusForEntityType(CNEntityTypeContacts)) {
    case CNAuthorizationStatusNotDetermined:
      return QFContactsAuthorizationStatusNotDetermined;
    case CNAuthorizationStatusRestricted:
      return QFContactsAuthorizationStatusRestricted;
    case CNAuthorizationStatusAuthorized:
      return QFContactsAuthorizationStatusAuthorized;
    // Values of later platforms, limited access among them, count as denied.
    default:
      return QFContactsAuthorizationStatusDenied;
  }
}

bool QFContactsAuthorizationService::hasContactsReadAccess() {
  const std::int64_t status = checkAccessStatus();
  return status == QFContactsAuthorizationStatusAuthorized ||
         status == QFContactsAuthorizationStatusLimited;
}

bool QFContactsAuthorizationService::shouldShowSettingsAlert() {
  const std::int64_t status = checkAccessStatus();
  return status == QFContactsAuthorizationStatusDenied ||
         status == QFContactsAuthorizationStatusRestricted;
}

void QFContactsAuthorizationService::showSettingsAlertViewFromViewController(
    UIViewController& viewController) {
  if (!shouldShowSettingsAlert()) return;
  constexpr const char* kTitle = "Contacts Access Required";
  constexpr const char* kMessage =
      "This app requires access to your contacts. Please enable contacts access in Settings.";
  const auto interface = Platform::current().userInterface;
  if (!interface) {
    return logLine("No user interface to show an alert: {}. {}", kTitle, kMessage);
  }
  const auto alert =
      UIAlertController::alertControllerWithTitle(kTitle, kMessage, UIAlertControllerStyleAlert);
  alert->addAction(UIAlertAction::actionWithTitle("Cancel", UIAlertActionStyleCancel, {}));
  alert->addAction(
      UIAlertAction::actionWithTitle("Settings", UIAlertActionStyleDefault, [interface] {
        const std::string settings = UIApplicationOpenSettingsURLString;
        if (interface->canOpenURL(settings)) interface->openURL(settings);
      }));
  interface->presentAlert(viewController, alert, true);
}

}  // namespace quillfold
