#include <iostream>

#include "apps/quillfold/commands.h"
#include "apps/quillfold/output.h"

namespace host {

using namespace quillfold;

namespace {

const char* accessText(std::int64_t status) {
  switch (status) {
    case QFContactsAuthorizationStatusNotDetermined:
      return "not determined";
    case QFContactsAuthorizationStatusAuthorized:
      return "authorized";
    case QFContactsAuthorizationStatusLimited:
      return "limited";
    case QFContactsAuthorizationStatusRestricted:
      return "restricted";
    default:
      return "denied";
  }
}

bool isHealthy(HostSession& session) {
  bool healthy = false;
  session.await([&healthy](const HostSession::Done& done) {
    QFContactService::checkHealthWithCompletion([&healthy, done](bool answer) {
      healthy = answer;
      done();
    });
  });
  return healthy;
}

Value stored(HostSession& session, const char* key) {
  return valueOrNull(session.defaults().stringForKey(key));
}

}  // namespace

// Looks and changes nothing: an initialisation would start a sync.
int statusCommand(HostSession& session) {
  QFContactService& service = session.service();
  const SyncInfoList records = service.allSyncInfo();
  const auto synced = std::count_if(records.begin(), records.end(), [](const auto& record) {
    return record->contactHash().has_value();
  });
  const Dictionary status{
      {"version", QuillfoldKitVersionString},
      {"state", service.currentState()},
      {"access", accessText(service.contactsAccessStatus())},
      {"environment", QFAPIConfig::stringFromEnvironment(QFAPIConfig::environment())},
      {"address", QFAPIConfig::baseURL()},
      {"healthy", isHealthy(session)},
      {"records", std::ssize(records)},
      {"uploaded", std::int64_t{synced}},
      {"bookkeeping", service.syncInfoFilePath()},
      {"user_id", stored(session, "quillfold.original.user.id")},
      {"device_id", stored(session, "com.quillfold.deviceIdentifier")},
      {"source_id", stored(session, "com.quillfold.source.id")},
      {"organization_id", stored(session, "quillfold.organization.id")}};
  if (session.arguments().json) {
    printJSON(status);
  } else {
    for (const auto& [name, value] : status) {
      std::cout << column(name, 17) << value.description() << '\n';
    }
  }
  return 0;
}

}  // namespace host
