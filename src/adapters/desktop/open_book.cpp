#include "adapters/desktop/open_book.h"

#include <cstdint>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "foundation/format.h"

namespace quillfold::desktop {

namespace {

constexpr const char* kAll = "(contains \"x-evolution-any-field\" \"\")";
constexpr const char* kBuiltin = "system-address-book";
// 0 waits for ever.
constexpr guint32 kWithoutWaiting = ~guint32{0};
constexpr std::uintmax_t kLargestPicture = 20 << 20;

struct FreeContacts {
  void operator()(GSList* contacts) const { g_slist_free_full(contacts, g_object_unref); }
};
using Contacts = std::unique_ptr<GSList, FreeContacts>;

// Whether an address is that of a picture which the service keeps, and of no other file:
// cards come from anywhere, and may name what is not theirs, or a pipe.
bool isKeptByService(const std::filesystem::path& named) {
  std::error_code error;
  const auto path = std::filesystem::canonical(named, error);
  if (error || !is_regular_file(path, error) || file_size(path, error) > kLargestPicture) {
    return false;
  }
  for (const char* folder : {g_get_user_data_dir(), g_get_user_cache_dir()}) {
    const auto own = std::filesystem::weakly_canonical(folder, error) / "evolution" / "";
    if (!error && path.native().starts_with(own.native())) return true;
  }
  return false;
}

struct FreePicture {
  void operator()(EContactPhoto* picture) const { e_contact_photo_free(picture); }
};

// Whether the first one of the kind, which is the one that would be read, is somebody else's.
bool namesForeignFile(EContact* contact, EContactField kind) {
  const std::unique_ptr<EContactPhoto, FreePicture> picture(
      static_cast<EContactPhoto*>(e_contact_get(contact, kind)));
  const char* address = picture ? e_contact_photo_get_uri(picture.get()) : nullptr;
  const Owned<gchar> file(address ? g_filename_from_uri(address, nullptr, nullptr) : nullptr);
  return file && !isKeptByService(file.get());
}

void inlinePictures(EContact* contact) {
  for (const EContactField kind : {E_CONTACT_PHOTO, E_CONTACT_LOGO}) {
    guint left = g_list_length(e_vcard_get_attributes(E_VCARD(contact)));
    while (left-- > 0 && namesForeignFile(contact, kind))
      e_contact_set(contact, kind, nullptr);
  }
  e_contact_inline_local_photos(contact, nullptr);
}

std::string cardOf(EContact* contact, const std::string& prefix) {
  inlinePictures(contact);
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

BookSource::BookSource(ESource* taken, BookPaths& paths)
    : source(taken),
      identifier(e_source_get_uid(taken)),
      builtin(identifier == kBuiltin),
      remote(!isLocal(taken)) {
  std::string& known = paths[identifier];
  if (known.empty()) {
    const Owned<gchar> name(e_source_dup_display_name(taken));
    known = fmt::format("{} ({})", name ? name.get() : "", identifier);
  }
  path = known;
}

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
  for (const GSList* node = given; node; node = node->next)
    cards += cardOf(static_cast<EContact*>(node->data), prefix_);
  return "";
}

}  // namespace quillfold::desktop
