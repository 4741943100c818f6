#include "apps/quillfold/contact_texts.h"

#include "apps/quillfold/output.h"

namespace host {

using namespace quillfold;

namespace {

std::string line(const char* title, const std::string& text) {
  return column(title, 14) + harmless(text);
}

template <typename Entries>
void addEntries(std::vector<std::string>& lines, const char* title, const Entries& entries) {
  for (const auto& entry : entries)
    lines.push_back(
        line(title, column(entry->type().value_or(""), 12) + entry->value().value_or("")));
}

}  // namespace

std::vector<std::string> contactLines(const QFContact& contact, const QFContactSyncInfo& record) {
  std::vector<std::string> lines{harmless(contact.displayName()),
                                 "  " + harmless(contact.displayInfo()), ""};
  addEntries(lines, "phone", contact.phoneNumbers());
  addEntries(lines, "e-mail", contact.emailAddresses());
  addEntries(lines, "URL", contact.urlAddresses());
  lines.push_back(line("identifier", contact.identifier()));
  lines.push_back(line("match string", contact.matchString().value_or("")));
  lines.push_back(line("change hash", contact.generateContactHash()));
  lines.push_back(line("uploaded", timeText(record.lastSyncedAt()) + ", hash " +
                                       record.contactHash().value_or("none")));
  return lines;
}

Dictionary contactObject(const Session& session, const QFContact& contact) {
  const std::string organization = session.kept("quillfold.organization.id").value_or("");
  const std::string source = session.kept("com.quillfold.source.id").value_or("");
  return {{"identifier", contact.identifier()},
          {"display_name", valueOrNull(contact.displayName())},
          {"change_hash", contact.generateContactHash()},
          {"match_string", valueOrNull(contact.matchString())},
          {"upload", contact.toServerContactWithOrganizationId(organization, source)}};
}

Dictionary recordObject(const QFContactSyncInfo& record) {
  return {{"contact_id", valueOrNull(record.contactId())},
          {"display_name", valueOrNull(record.displayNameForSort())},
          {"primary_info", valueOrNull(record.primaryInfo())},
          {"change_hash", valueOrNull(record.contactHash())},
          {"match_string", valueOrNull(record.matchString())},
          {"last_synced_at", record.lastSyncedAt()},
          {"is_dirty", record.isDirty()},
          {"is_deleted", record.isDeleted()}};
}

}  // namespace host
