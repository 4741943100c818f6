#include <iostream>

#include "apps/quillfold/commands.h"
#include "apps/quillfold/output.h"

namespace host {

using namespace quillfold;

namespace {

struct Found {
  QFContactList contacts;
  std::int64_t total = 0;
};

Found search(HostSession& session) {
  const Arguments& arguments = session.arguments();
  const std::string& query = arguments.operands.front();
  const auto service = QFContactSearchService::sharedInstance();
  Found found;
  ErrorPtr failure;
  session.await([&](const HostSession::Done& done) {
    const auto take = [&, done](const std::optional<QFContactList>& contacts, std::int64_t total,
                                const ErrorPtr& error) {
      if (contacts) found = {*contacts, total};
      failure = error;
      done();
    };
    if (arguments.quick) {
      service->quickSearchWithQuery(
          query, [take](const std::optional<QFContactList>& contacts, const ErrorPtr& error) {
            take(contacts, contacts ? std::ssize(*contacts) : 0, error);
          });
    } else {
      service->searchContactsWithQuery(query, arguments.field, arguments.offset, arguments.limit,
                                       take);
    }
  });
  if (failure) throw LibraryFailure(failure);
  return found;
}

}  // namespace

int searchCommand(HostSession& session) {
  session.requestAccess();
  const Found found = search(session);
  Array rows;
  for (const QFContactPtr& contact : found.contacts) {
    if (session.arguments().json) {
      rows.emplace_back(Dictionary{{"identifier", contact->identifier()},
                                   {"display_name", valueOrNull(contact->displayName())},
                                   {"display_info", contact->displayInfo()}});
    } else {
      std::cout << column(contact->displayName().value_or(""), 28) << "  " << contact->displayInfo()
                << '\n';
    }
  }
  if (session.arguments().json) {
    printJSON(Dictionary{{"total", found.total}, {"contacts", rows}});
  } else {
    std::cout << found.contacts.size() << " of " << found.total << '\n';
  }
  return 0;
}

}  // namespace host
