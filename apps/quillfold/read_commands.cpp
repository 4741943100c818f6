// The commands that look at the address book and the bookkeeping and need no
// backend.
#include <iostream>

#include "apps/quillfold/commands.h"
#include "apps/quillfold/output.h"

namespace host {

using namespace quillfold;

namespace {

void throwIf(const ErrorPtr& error) {
  if (error) throw LibraryFailure(error);
}

// The address book as a sync would read it. The facade's own reading needs a
// backend that has accepted the key; the store and the mapper don't.
QFContactList readAddressBook(HostSession& session) {
  session.requestAccess();
  QFContactList contacts;
  ErrorPtr error;
  CNContactStore::create()->enumerateContactsWithFetchRequest(
      CNContactFetchRequest::initWithKeysToFetch(
          QFContactMapper::keysToFetch(session.arguments().notes)),
      &error, [&contacts](const CNContact& contact) {
        contacts.push_back(QFContactMapper::contactFromCNContact(contact));
      });
  throwIf(error);
  return contacts;
}

// The object that a sync would upload. The identifiers are those of the last
// sync; "" before the first.
Dictionary uploadObject(HostSession& session, const QFContact& contact) {
  return contact.toServerContactWithOrganizationId(
      session.defaults().stringForKey("quillfold.organization.id").value_or(""),
      session.defaults().stringForKey("com.quillfold.source.id").value_or(""));
}

Value orNull(const OptionalString& text) {
  return valueOrNull(text);
}

Dictionary recordObject(const QFContactSyncInfo& record) {
  return {{"contact_id", orNull(record.contactId())},
          {"display_name", orNull(record.displayNameForSort())},
          {"primary_info", orNull(record.primaryInfo())},
          {"change_hash", orNull(record.contactHash())},
          {"match_string", orNull(record.matchString())},
          {"last_synced_at", record.lastSyncedAt()},
          {"is_dirty", record.isDirty()},
          {"is_deleted", record.isDeleted()}};
}

void printPlanLine(QFContactService& service, const QFContact& contact) {
  const bool known = service.syncInfoForContactId(contact.identifier())->contactHash().has_value();
  std::cout << (known ? "changed  " : "new      ") << column(contact.displayName().value_or(""), 28)
            << "  " << column(contact.displayInfo(), 28) << "  "
            << contact.generateContactHash().substr(0, 12) << '\n';
}

Dictionary planObject(HostSession& session, const QFContact& contact) {
  return {{"identifier", contact.identifier()},
          {"display_name", orNull(contact.displayName())},
          {"change_hash", contact.generateContactHash()},
          {"match_string", orNull(contact.matchString())},
          {"upload", uploadObject(session, contact)}};
}

template <typename Entries>
void printEntries(const char* title, const Entries& entries) {
  for (const auto& entry : entries) {
    std::cout << column(title, 14) << column(entry->type().value_or(""), 12)
              << entry->value().value_or("") << '\n';
  }
}

void printContact(const QFContact& contact, const QFContactSyncInfo& record) {
  std::cout << contact.displayName().value_or("") << "\n  " << contact.displayInfo() << "\n\n";
  printEntries("phone", contact.phoneNumbers());
  printEntries("e-mail", contact.emailAddresses());
  printEntries("URL", contact.urlAddresses());
  std::cout << column("identifier", 14) << contact.identifier() << '\n'
            << column("match string", 14) << contact.matchString().value_or("") << '\n'
            << column("change hash", 14) << contact.generateContactHash() << '\n'
            << column("uploaded", 14) << timeText(record.lastSyncedAt()) << ", hash "
            << record.contactHash().value_or("none") << '\n';
}

}  // namespace

int planCommand(HostSession& session) {
  QFContactService& service = session.service();
  const QFContactList contacts = readAddressBook(session);
  Array plan;
  std::size_t changed = 0;
  for (const QFContactPtr& contact : contacts) {
    if (!service.hasContactChanged(*contact)) continue;
    ++changed;
    if (session.arguments().json) {
      plan.emplace_back(planObject(session, *contact));
    } else {
      printPlanLine(service, *contact);
    }
  }
  if (session.arguments().json) {
    printJSON(plan);
  } else {
    std::cout << changed << " to upload; " << contacts.size() - changed
              << " stay, their change hash is that of their last upload\n";
  }
  return 0;
}

int listCommand(HostSession& session) {
  Array list;
  for (const QFContactSyncInfoPtr& record : session.service().activeSyncInfo()) {
    if (session.arguments().json) {
      list.emplace_back(recordObject(*record));
    } else {
      std::cout << column(timeText(record->lastSyncedAt()), 19) << "  "
                << column(record->displayNameForSort().value_or(""), 28) << "  "
                << record->primaryInfo().value_or("") << '\n';
    }
  }
  if (session.arguments().json) printJSON(list);
  return 0;
}

int showCommand(HostSession& session) {
  session.requestAccess();
  ErrorPtr error;
  const auto found = CNContactStore::create()->unifiedContactWithIdentifier(
      session.arguments().operands.front(), QFContactMapper::keysToFetch(session.arguments().notes),
      &error);
  throwIf(error);
  const QFContactPtr contact = QFContactMapper::contactFromCNContact(*found);
  const auto record = session.service().syncInfoForContactId(contact->identifier());
  if (session.arguments().json) {
    Dictionary object = planObject(session, *contact);
    object["record"] = recordObject(*record);
    printJSON(object);
  } else {
    printContact(*contact, *record);
  }
  return 0;
}

}  // namespace host
