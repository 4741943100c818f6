#include <iostream>

#include "apps/quillfold/commands.h"
#include "apps/quillfold/contact_search.h"
#include "apps/quillfold/lists.h"
#include "apps/quillfold/output.h"
#include "apps/quillfold/session.h"

namespace host {

using namespace quillfold;

namespace {

// The first 20 for the text as it stands; there are no more of these.
ContactPage quickSearch(Session& session) {
  const auto found = session.answerOf<QFContactList>([&session](const auto& ending) {
    QFContactSearchService::sharedInstance()->quickSearchWithQuery(
        *session.options().operand,
        QuickSearchCompletion(
            [ending](std::optional<QFContactList> contacts, const ErrorPtr& error) {
              if (!ending.failedWith(error)) ending(std::move(contacts).value_or(QFContactList()));
            }));
  });
  const auto part = partOf(found, session.page(std::ssize(found)));
  return {{part.begin(), part.end()}, std::ssize(found)};
}

}  // namespace

Operation<ContactPage> searchContacts(const std::string& text, std::uint64_t field, Page page) {
  const Ending<ContactPage> ending;
  QFContactSearchService::sharedInstance()->searchContactsWithQuery(
      Account::searchText(text), field, page.offset, page.limit,
      [ending](std::optional<QFContactList> contacts, std::int64_t total, const ErrorPtr& error) {
        if (ending.failedWith(error)) return;
        ending(ContactPage{std::move(contacts).value_or(QFContactList()), total});
      });
  return Operation<ContactPage>(ending);
}

int searchCommand(Session& session) {
  session.requestAccess();
  session.interrupts().endAtOnce();
  session.readRecords();
  const ContactPage found =
      session.options().quick
          ? quickSearch(session)
          : session.wait(searchContacts(*session.options().operand, session.options().field,
                                        session.page(20)));
  Array rows;
  for (const QFContactPtr& contact : found.contacts) {
    if (session.options().json) {
      rows.emplace_back(Dictionary{{"identifier", contact->identifier()},
                                   {"display_name", valueOrNull(contact->displayName())},
                                   {"display_info", contact->displayInfo()}});
    } else {
      std::cout << column(contact->displayName().value_or(""), 28) << "  "
                << column(contact->displayInfo(), 32) << "  " << harmless(contact->identifier())
                << '\n';
    }
  }
  if (session.options().json) {
    printJSON(Dictionary{{"total", found.total}, {"contacts", rows}});
  } else {
    std::cout << found.contacts.size() << " of " << found.total << '\n';
  }
  return 0;
}

}  // namespace host
