// The commands that look at the address book and the bookkeeping and need no
// backend.
#include <iostream>
#include <limits>

#include "apps/quillfold/commands.h"
#include "apps/quillfold/contact_texts.h"
#include "apps/quillfold/lists.h"
#include "apps/quillfold/output.h"
#include "apps/quillfold/session.h"
#include "apps/quillfold/terminal.h"

namespace host {

using namespace quillfold;

namespace {

constexpr std::int64_t kAll = std::numeric_limits<std::int64_t>::max();

void throwIf(const ErrorPtr& error) {
  if (error) throw Failure::fromError(*error);
}

// The address book as a sync would read it. The facade's own reading needs a
// backend that has accepted the key; the store and the mapper don't.
QFContactList readAddressBook(Session& session) {
  session.requestAccess();
  session.interrupts().endAtOnce();
  QFContactList contacts;
  ErrorPtr error;
  CNContactStore::create()->enumerateContactsWithFetchRequest(
      CNContactFetchRequest::initWithKeysToFetch(
          QFContactMapper::keysToFetch(session.options().notes)),
      &error, [&contacts](const CNContact& contact) {
        contacts.push_back(QFContactMapper::contactFromCNContact(contact));
      });
  throwIf(error);
  return contacts;
}

void printPlanLine(QFContactService& service, const QFContact& contact) {
  const bool known = service.syncInfoForContactId(contact.identifier())->contactHash().has_value();
  std::cout << (known ? colored("changed", Color::Yellow) : colored("new    ", Color::Green))
            << "  " << column(contact.displayName().value_or(""), 28) << "  "
            << column(contact.displayInfo(), 28) << "  " << harmless(contact.identifier()) << '\n';
}

}  // namespace

int planCommand(Session& session) {
  QFContactList changed = readAddressBook(session);
  const std::size_t all = changed.size();
  const std::int64_t skipped = Platform::current().contacts->skippedContacts();
  QFContactService& service = session.readRecords();
  std::erase_if(changed, [&service](const QFContactPtr& contact) {
    return !service.hasContactChanged(*contact);
  });
  const auto part = partOf(changed, session.page(kAll));
  if (session.options().json) {
    printJSONArray(
        part, [&session](const QFContact& contact) { return contactObject(session, contact); });
  } else {
    for (const QFContactPtr& contact : part)
      printPlanLine(service, *contact);
    std::cout << changed.size() << " to upload; " << all - changed.size()
              << " stay, their change hash is that of their last upload";
    if (skipped > 0) std::cout << "; " << skipped << " skipped";
    std::cout << '\n';
  }
  return 0;
}

int listCommand(Session& session) {
  session.interrupts().endAtOnce();
  const SyncInfoList records = session.readRecords().activeSyncInfo();
  const auto part = partOf(records, session.page(kAll));
  if (session.options().json) {
    printJSONArray(part, recordObject);
    return 0;
  }
  for (const QFContactSyncInfoPtr& record : part) {
    std::cout << column(timeText(record->lastSyncedAt()), 19) << "  "
              << column(record->displayNameForSort().value_or(""), 28) << "  "
              << column(record->primaryInfo().value_or(""), 24) << "  "
              << harmless(record->contactId()) << '\n';
  }
  if (session.options().limit || session.options().offset > 0) {
    std::cout << part.size() << " of " << records.size() << '\n';
  }
  return 0;
}

int showCommand(Session& session) {
  session.requestAccess();
  session.interrupts().endAtOnce();
  ErrorPtr error;
  const auto found = CNContactStore::create()->unifiedContactWithIdentifier(
      *session.options().operand, QFContactMapper::keysToFetch(session.options().notes), &error);
  throwIf(error);
  const QFContactPtr contact = QFContactMapper::contactFromCNContact(*found);
  const auto record = session.readRecords().syncInfoForContactId(contact->identifier());
  if (session.options().json) {
    Dictionary object = contactObject(session, *contact);
    object["record"] = recordObject(*record);
    printJSON(object);
  } else {
    std::vector<std::string> lines = contactLines(*contact, *record);
    lines.front() = colored(lines.front(), Color::Bold);
    for (const std::string& line : lines)
      std::cout << line << '\n';
  }
  return 0;
}

}  // namespace host
