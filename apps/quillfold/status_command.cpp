// Where things stand. Nothing here starts the library, or writes to the disk but for a torn
// file of the bookkeeping, which is restored.
#include <iostream>

#include "apps/quillfold/commands.h"
#include "apps/quillfold/output.h"
#include "apps/quillfold/session.h"

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

// Asked without the client, which would give this device an identifier and take the last user
// for its own.
bool isHealthy(Session& session) {
  const auto requests = NSURLSession::sessionWithConfiguration({});
  return session.answerOf<bool>([&requests](const Ending<bool>& ending) {
    const auto task = requests->dataTaskWithRequest(
        {.url = QFAPIConfig::baseURL() + QFAPIConfig::healthEndpoint(),
         .headers = {},
         .httpBody = {}},
        [ending](const URLResult& result) {
          const auto answer = NSJSONSerialization::JSONObjectWithData(result.body.bytes());
          const Dictionary* object = answer ? answer->asDictionary() : nullptr;
          ending(object != nullptr && stringForKey(*object, "status") == "success");
        });
    task->resume();
  });
}

Dictionary statusOf(Session& session) {
  QFContactService& service = session.records();
  const SyncInfoList records = service.allSyncInfo();
  const auto uploaded = std::count_if(records.begin(), records.end(), [](const auto& record) {
    return record->contactHash().has_value();
  });
  const auto problem = Account::bookkeepingProblem();
  NSUserDefaults& defaults = NSUserDefaults::standardUserDefaults();
  return {{"version", QuillfoldKitVersionString},
          {"state", service.currentState()},
          {"access", accessText(service.contactsAccessStatus())},
          {"environment", QFAPIConfig::stringFromEnvironment(QFAPIConfig::environment())},
          {"address", session.address()},
          {"healthy", isHealthy(session)},
          {"book", session.contacts().path()},
          {"records", std::ssize(records)},
          {"uploaded", std::int64_t{uploaded}},
          {"bookkeeping", service.syncInfoFilePath()},
          {"bookkeeping_problem", problem ? Value(problem->text()) : Value(nullptr)},
          {"user_id", valueOrNull(defaults.stringForKey("quillfold.original.user.id"))},
          {"device_id", valueOrNull(defaults.stringForKey("com.quillfold.deviceIdentifier"))},
          {"source_id", valueOrNull(session.kept("com.quillfold.source.id"))},
          {"organization_id", valueOrNull(session.kept("quillfold.organization.id"))}};
}

int tellAccess(Session& session) {
  const std::string access = accessText(session.records().contactsAccessStatus());
  if (session.options().json) {
    printJSON(Dictionary{{"access", access}});
  } else {
    std::cout << access << '\n';
  }
  return 0;
}

int decideAccess(Session& session, std::int64_t status) {
  session.contacts().setAuthorizationStatus(status);
  if (NSUserDefaults::standardUserDefaults().synchronize()) return tellAccess(session);
  throw hostFailure("The decision can't be kept: the settings can't be written");
}

}  // namespace

int statusCommand(Session& session) {
  session.interrupts().endAtOnce();
  const Dictionary status = statusOf(session);
  if (session.options().json) {
    printJSON(status);
  } else {
    for (const auto& [name, value] : status)
      std::cout << column(name, 20) << (value.isNull() ? "none" : harmless(value.description()))
                << '\n';
  }
  return 0;
}

int showAccess(Session& session) {
  return tellAccess(session);
}

int allowAccess(Session& session) {
  return decideAccess(session, CNAuthorizationStatusAuthorized);
}

int denyAccess(Session& session) {
  return decideAccess(session, CNAuthorizationStatusDenied);
}

}  // namespace host
