#include "core/contacts_authorization.h"

#include "platform/contact_store.h"
#include "platform/dispatch.h"

namespace quillfold {

const std::shared_ptr<QFContactsAuthorizationService>&
QFContactsAuthorizationService::sharedInstance() {
  static const auto* instance =
      new std::shared_ptr(std::make_shared<QFContactsAuthorizationService>());
  return *instance;
}

void QFContactsAuthorizationService::requestAccessWithCompletion(AccessCompletion completion) {
  const auto store = CNContactStore::create();
  const auto answered = [completion = std::move(completion), store](bool, const ErrorPtr& error) {
    dispatchMain([completion, error] {
      const std::int64_t status = sharedInstance()->checkAccessStatus();
      if (completion) completion(status, error);
    });
  };
  store->requestAccessForEntityType(CNEntityTypeContacts, answered);
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

}  // namespace quillfold
