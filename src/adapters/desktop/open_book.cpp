#include "adapters/desktop/open_book.h"

#include <string_view>
#include <utility>

#include "foundation/format.h"

namespace quillfold::desktop {

namespace {

constexpr const char* kAll = "(contains \"x-evolution-any-field\" \"\")";
constexpr const char* kBuiltin = "system-address-book";
// 0 waits for ever.
constexpr guint32 kWithoutWaiting = ~guint32{0};

struct FreeContacts {
  void operator()(GSList* contacts) const { g_slist_free_full(contacts, g_object_unref); }
};
using Contacts = std::unique_ptr<GSList, FreeContacts>;

// Pictures stand in files of the service's own.
std::string cardOf(EContact* contact, const std::string& prefix) {
  e_contact_inline_local_photos(contact, nullptr);
  const auto* uid = static_cast<const char*>(e_contact_get_const(contact, E_CONTACT_UID));
  if (uid && !prefix.empty()) e_contact_set(contact, E_CONTACT_UID, (prefix + uid).c_str());
  const Owned<gchar> card(e_vcard_to_string(E_VCARD(contact), EVC_FORMAT_VCARD_30));
  return std::string(card.get()) + "\r\n";
}

// A view that tells of changes and nothing else.
Owned<EBookClientView> makeView(EBookClient* client, GCancellable* cancellable, GError** error) {
  EBookClientView* made = nullptr;
  if (!e_book_client_get_view_sync(client, kAll, &made, cancellable, error)) return nullptr;
  Owned<EBookClientView> view(made);
  GSList uid{const_cast<char*>(e_contact_field_name(E_CONTACT_UID)), nullptr};
  e_book_client_view_set_fields_of_interest(view.get(), &uid, error);
  if (!*error) e_book_client_view_set_flags(view.get(), E_BOOK_CLIENT_VIEW_FLAGS_NONE, error);
  return *error ? nullptr : std::move(view);
}

bool isLocal(ESource* source) {
  gpointer extension = e_source_get_extension(source, E_SOURCE_EXTENSION_ADDRESS_BOOK);
  const Owned<gchar> backend(e_source_backend_dup_backend_name(E_SOURCE_BACKEND(extension)));
  return backend && std::string_view(backend.get()) == "local";
}

}  // namespace

BookSource::BookSource(ESource* taken)
    : source(taken),
      identifier(e_source_get_uid(taken)),
      path(fmt::format("{} ({})", e_source_get_display_name(taken), identifier)),
      builtin(identifier == kBuiltin),
      remote(!isLocal(taken)) {}

std::unique_ptr<OpenBook> OpenBook::open(const BookSource& source, std::function<void()> onChange,
                                         std::function<void()> onDeath, GCancellable* cancellable,
                                         std::string& failure) {
  ErrorSlot error;
  std::unique_ptr<OpenBook> book(new OpenBook);
  if (!source.builtin) book->prefix_ = source.identifier + '/';
  EClient* client =
      e_book_client_connect_sync(source.source.get(), kWithoutWaiting, cancellable, error.out());
  book->client_.reset(reinterpret_cast<EBookClient*>(client));
  if (client) book->view_ = makeView(book->client_.get(), cancellable, error.out());
  if (book->view_) {
    for (const char* signal : {"objects-added", "objects-modified", "objects-removed"})
      book->handlers_.emplace_back(book->view_.get(), signal, onChange);
    book->handlers_.emplace_back(client, "backend-died", onDeath);
    e_book_client_view_start(book->view_.get(), error.out());
  }
  if (!error.isSet()) return book;
  failure = error.text();
  return nullptr;
}

std::string OpenBook::read(std::string& cards, GCancellable* cancellable) const {
  ErrorSlot error;
  GSList* given = nullptr;
  if (!e_book_client_get_contacts_sync(client_.get(), kAll, &given, cancellable, error.out())) {
    return error.text();
  }
  const Contacts contacts(given);
  for (const GSList* node = given; node; node = node->next) {
    auto* contact = static_cast<EContact*>(node->data);
    if (!e_contact_get(contact, E_CONTACT_IS_LIST)) cards += cardOf(contact, prefix_);
  }
  return "";
}

}  // namespace quillfold::desktop
