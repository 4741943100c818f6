// Another program of the desktop's, which changes its address books:
//
//   make NAME PORT   a book here or, with a port, an LDAP directory; prints its identifier
//   enable BOOK | disable BOOK | delete BOOK | rename BOOK
//   add BOOK CARDS | change BOOK CARDS | remove BOOK UID | fill BOOK MEBIBYTES
#include <libebook/libebook.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "adapters/desktop/owned.h"

namespace {

using namespace quillfold::desktop;

ErrorSlot error;

void check() {
  if (!error.isSet()) return;
  std::fprintf(stderr, "%s\n", error.text().c_str());
  std::exit(1);
}

void makeBook(ESourceRegistry* registry, const char* name, int port) {
  const Owned<ESource> source(e_source_new(nullptr, nullptr, error.out()));
  e_source_set_display_name(source.get(), name);
  e_source_set_parent(source.get(), port == 0 ? "local-stub" : "ldap-stub");
  gpointer book = e_source_get_extension(source.get(), E_SOURCE_EXTENSION_ADDRESS_BOOK);
  e_source_backend_set_backend_name(E_SOURCE_BACKEND(book), port == 0 ? "local" : "ldap");
  if (port != 0) {
    gpointer server = e_source_get_extension(source.get(), E_SOURCE_EXTENSION_AUTHENTICATION);
    e_source_authentication_set_host(E_SOURCE_AUTHENTICATION(server), "127.0.0.1");
    e_source_authentication_set_port(E_SOURCE_AUTHENTICATION(server), static_cast<guint16>(port));
    gpointer ldap = e_source_get_extension(source.get(), E_SOURCE_EXTENSION_LDAP_BACKEND);
    e_source_ldap_set_root_dn(E_SOURCE_LDAP(ldap), "dc=example");
  }
  e_source_registry_commit_source_sync(registry, source.get(), nullptr, error.out());
  std::fputs(e_source_get_uid(source.get()), stdout);
}

void editSource(ESource* source, const std::string& command) {
  if (command == "delete") {
    e_source_remove_sync(source, nullptr, error.out());
  } else {
    if (command == "rename") e_source_set_display_name(source, "Renamed");
    e_source_set_enabled(source, command != "disable");
    e_source_write_sync(source, nullptr, error.out());
  }
}

void editBook(ESource* source, const std::string& command, const std::string& argument) {
  Owned<EBookClient> book;
  // The service may still be on its way to know a new one.
  for (int i = 0; !book && i < 500; ++i) {
    g_clear_error(error.out());
    book.reset(reinterpret_cast<EBookClient*>(
        e_book_client_connect_sync(source, ~guint32{0}, nullptr, error.out())));
  }
  check();
  if (command == "remove") {
    e_book_client_remove_contact_by_uid_sync(book.get(), argument.c_str(), 0, nullptr, error.out());
    return;
  }
  GSList* contacts = nullptr;
  for (int left = command == "fill" ? std::atoi(argument.c_str()) : 0; left > 0; --left) {
    contacts = g_slist_prepend(contacts, e_contact_new());
    const std::string note(1 << 20, 'x');
    e_contact_set(static_cast<EContact*>(contacts->data), E_CONTACT_NOTE, note.c_str());
  }
  for (std::size_t begin = argument.find("BEGIN:"); begin != std::string::npos;) {
    const std::size_t end = argument.find("END:VCARD", begin) + 9;
    const std::string card = argument.substr(begin, end - begin);
    contacts = g_slist_prepend(contacts, e_contact_new_from_vcard(card.c_str()));
    begin = argument.find("BEGIN:", end);
  }
  if (command == "change") {
    e_book_client_modify_contacts_sync(book.get(), contacts, 0, nullptr, error.out());
  } else {
    e_book_client_add_contacts_sync(book.get(), contacts, 0, nullptr, nullptr, error.out());
  }
  g_slist_free_full(contacts, g_object_unref);
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 3 || count > 4) return 2;
  const std::string command = arguments[1];
  const Owned<ESourceRegistry> registry(e_source_registry_new_sync(nullptr, error.out()));
  check();
  if (command == "make") {
    makeBook(registry.get(), arguments[2], std::atoi(arguments[3]));
  } else {
    const Owned<ESource> source(e_source_registry_ref_source(registry.get(), arguments[2]));
    if (!source) return 3;
    if (count == 3) editSource(source.get(), command);
    if (count == 4) editBook(source.get(), command, arguments[3]);
  }
  check();
}
