#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include "adapters/linux/book/book_tree.h"
#include "adapters/linux/device/linux_device.h"
#include "tests/adapters/linux/contacts_fixture.h"

namespace quillfold {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Property;
using testing::SizeIs;
using testing::Throws;

class Store : public ContactsFixture {};

TEST_F(Store, ReadsATreeInItsOrderWithContainers) {
  write("book/b.VCF", card("b1") + card("b2"));
  write("book/a.vcf", card("a"));
  write("book/office/c.vcf", card("c"));
  write("book/office/deep/d.vcf", card("d"));
  write("book/default/e.vcf", card("e"));
  for (const char* unread :
       {"book/.x.vcf", "book/x.vcf~", "book/x.TXT", "book/x", "book/.git/x.vcf"})
    write(unread, card("x"));
  std::filesystem::create_directory_symlink(book, book / "loop");
  ASSERT_EQ(mkfifo((book / "pipe.vcf").c_str(), 0600), 0);
  const auto store = authorized(book)->makeStore();
  EXPECT_THAT(identifiers(*store), ElementsAre("a", "b1", "b2", "e", "c", "d"));

  const std::pair<std::string, std::size_t> containers[] = {
      {store->defaultContainerIdentifier(), 3}, {"office", 1}, {"office/deep", 1}, {"gone", 0}};
  for (const auto& [container, count] : containers) {
    ErrorPtr error;
    const auto predicate =
        CNContactPredicate::predicateForContactsInContainerWithIdentifier(container);
    EXPECT_THAT(store->unifiedContactsMatchingPredicate(predicate, {}, &error), SizeIs(count))
        << container;
    EXPECT_FALSE(error);
  }
}

TEST_F(Store, HonoursTheKeysAndFindsByIdentifier) {
  write("one.cards", card("id", "NOTE:n\nTEL:1"));
  const auto store = authorized(root / "one.cards")->makeStore();
  ErrorPtr error;
  const auto contact = store->unifiedContactWithIdentifier("id", {CNContactNoteKey}, &error);
  ASSERT_TRUE(contact);
  EXPECT_EQ(contact->note(), "n");
  EXPECT_FALSE(contact->isKeyAvailable(CNContactPhoneNumbersKey));
  EXPECT_THAT([&] { contact->phoneNumbers(); },
              Throws<NSException>(Property(&NSException::name, CNPropertyNotFetchedExceptionName)));
  EXPECT_FALSE(error);
  EXPECT_FALSE(store->unifiedContactWithIdentifier("other", {}, nullptr));
  EXPECT_FALSE(store->unifiedContactWithIdentifier("other", {}, &error));
  EXPECT_EQ(reported(error), "CNErrorDomain 200: There is no contact other.");
}

TEST_F(Store, SeesEveryChangeAndTellsFaultsOnce) {
  const auto provider = authorized(book);
  const auto store = provider->makeStore();
  ErrorPtr error;
  EXPECT_THAT(identifiers(*store, &error), IsEmpty());
  EXPECT_FALSE(error) << "a book that is not there yet is empty";
  EXPECT_TRUE(identifiers(*store).empty());
  const std::string name = book.string();
  EXPECT_THAT(log->take(),
              ElementsAre(name + ": there is no such address book, so it counts as empty"));
  write("book/a.vcf", "no card\n" + card("a") + "BEGIN:VCARD\nN:broken\n" + card("a") + card("a"));
  const std::vector<std::string> first = identifiers(*store);
  EXPECT_THAT(first, ElementsAre("a", "a-74b19bc2b7619348", "a-74b19bc2b7619348-2"));
  const std::string taken = name + "/a.vcf: another card has the identifier a, this one becomes ";
  EXPECT_THAT(
      log->take(),
      ElementsAre(name + "/a.vcf, line 1: text outside of a card is left out",
                  name + "/a.vcf, card 2, line 8: the card has no END:VCARD and is left out",
                  taken + "a-74b19bc2b7619348", taken + "a-74b19bc2b7619348-2"));
  EXPECT_EQ(provider->skippedContacts(), 1);
  EXPECT_EQ(identifiers(*authorized(book)->makeStore()), first);
  log->take();

  // The same size and the same moment, as far as the clock of the files can tell.
  const auto single = authorized(root / "one.cards")->makeStore();
  for (const char* uid : {"1", "2", "3", "4", "5"}) {
    write("book/b.vcf", card(uid));
    write("one.cards", card(uid));
    EXPECT_EQ(identifiers(*store).back(), uid);
    EXPECT_THAT(identifiers(*single), ElementsAre(uid));
  }
  EXPECT_THAT(log->take(), IsEmpty());
  std::filesystem::remove(book / "a.vcf");
  EXPECT_THAT(identifiers(*store), ElementsAre("5"));
  EXPECT_EQ(provider->skippedContacts(), 0);
}

TEST_F(Store, FailsRatherThanLosesWhatItCannotRead) {
  write("book/a.vcf", card("a"));
  // A link that leads nowhere holds nothing; a file that is too large can't be read,
  // not even by root.
  std::filesystem::create_symlink("self.vcf", book / "self.vcf");
  write("book/large.vcf", "");
  std::filesystem::resize_file(book / "large.vcf", std::uint64_t{600} << 20);
  ASSERT_EQ(mkfifo((root / "pipe").c_str(), 0600), 0);
  for (const auto& [path, reason] :
       {std::pair(book, "/large.vcf: File too large"),
        std::pair(root / "pipe", ": neither a file nor a folder"),
        std::pair(root / std::string(300, 'x'), ": File name too long")}) {
    ErrorPtr error;
    EXPECT_FALSE(authorized(path)->makeStore()->enumerateContactsWithFetchRequest(
        {}, &error,
        [](const CNContact&) { ADD_FAILURE() << "a part of the book passes for all of it"; }));
    EXPECT_EQ(reported(error),
              "CNErrorDomain 2: The address book can't be read: " + path.string() + reason);
  }
}

TEST_F(Store, ListsAnewWhatHasMoved) {
  for (const char* name : {"a.vcf", "b.vcf", "sub/c.vcf", "sub/d.vcf", "sub/deep/e.vcf"})
    write(std::string("book/") + name, name);
  BookTree tree;
  const auto list = [&](const std::set<std::string>& places) {
    readBookTree(tree, book, places, true, [](const std::string&) { return true; });
    std::vector<std::string> all;
    for (const BookFile& file : tree.listing.files)
      all.push_back(readBookFile(file.path).bytes + " in " + file.folder);
    return all;
  };
  EXPECT_THAT(list({book}), ElementsAre("a.vcf in ", "b.vcf in ", "sub/c.vcf in sub",
                                        "sub/d.vcf in sub", "sub/deep/e.vcf in sub/deep"));
  std::filesystem::remove(book / "a.vcf");
  std::filesystem::rename(book / "b.vcf", book / "sub/b.vcf");
  std::filesystem::rename(book / "sub/d.vcf", book / "d.vcf");
  std::filesystem::rename(book / "sub/deep", book / "sub/new");
  EXPECT_THAT(
      list({book / "a.vcf", book / "b.vcf", book / "d.vcf", book / "sub/b.vcf", book / "sub/d.vcf",
            book / "sub/deep", book / "sub/new", book / "sub/new/e.vcf"}),
      ElementsAre("sub/d.vcf in ", "b.vcf in sub", "sub/c.vcf in sub",
                  "sub/deep/e.vcf in sub/new"));
  EXPECT_EQ(readBookFile(book / "a.vcf").failure,
            (book / "a.vcf: No such file or directory").string());
}

TEST_F(Store, ServesManyThreadsWhileTheBookChanges) {
  namespace fs = std::filesystem;
  write("book/a.vcf", card("a"));
  write("book/deep/d.vcf", card("d"));
  write("book/m.vcf", card("m"));
  write("book/sub/s.vcf", card("s"));
  const auto store = authorized(book)->makeStore();
  std::vector<std::thread> readers;
  for (int i = 0; i < 4; ++i) {
    readers.emplace_back([&] {
      for (int n = 0; n < 50; ++n) {
        ErrorPtr error;
        const auto read = identifiers(*store, &error);
        if (error) {
          EXPECT_EQ(error->code(), CNErrorCodeDataAccessError);
        } else {
          EXPECT_THAT(read, testing::IsSupersetOf({"a", "d", "m", "s"}));
        }
      }
    });
  }
  const fs::path moving[] = {book / "m.vcf", book / "deep/m.vcf", book / "sub", book / "deep/bus"};
  const fs::path c = book / "c.vcf";
  for (int n = 0; n < 50; ++n) {
    write("book/b.vcf", card("b" + std::to_string(n)));
    fs::rename(moving[n % 2], moving[(n + 1) % 2]);
    fs::rename(moving[2 + n % 2], moving[2 + (n + 1) % 2]);
    fs::remove(c);
    if (n % 3 == 0 && mkfifo(c.c_str(), 0600) != 0) ADD_FAILURE();
    if (n % 3 == 1) fs::create_symlink(c, c);
    if (n % 3 == 2) fs::create_directory(c);
    EXPECT_THAT(identifiers(*store),
                testing::UnorderedElementsAre("a", "b" + std::to_string(n), "d", "m", "s"));
  }
  for (std::thread& reader : readers)
    reader.join();
}

TEST_F(Store, NamesLabels) {
  VCardContactsOptions german = options(book);
  german.labels = {{"homefax", "Fax privat"}};
  const auto provider = makeVCardContacts(options(book));
  std::string texts;
  for (const char* label :
       {"_$!<HomeFAX>!$_", "_$!<WorkFAX>!$_", "_$!<OtherFAX>!$_", "_$!<AppleWatch>!$_",
        "_$!<NewZone>!$_", "_$!<My>!$_ own", "Boat", "_$!<>!$_", ""})
    texts += provider->localizedLabel(label) + ", ";
  EXPECT_EQ(
      texts,
      "home fax, work fax, other fax, Apple Watch, newzone, _$!<My>!$_ own, Boat, _$!<>!$_, , ");
  EXPECT_EQ(makeVCardContacts(german)->localizedLabel("_$!<HomeFAX>!$_"), "Fax privat");
}

TEST_F(Store, ReadsTheSampleBookWithoutTracesOfItsEncodings) {
  const auto store = authorized(SAMPLE_BOOK)->makeStore();
  const CNContactFetchRequest request{{CNContactFormatter::descriptorForRequiredKeysForStyle(0),
                                       CNContactNoteKey, CNContactPhoneNumbersKey}};
  const auto check = [](const CNContact& contact) {
    EXPECT_FALSE(contact.phoneNumbers().empty()) << contact.identifier();
    const std::string text = contact.givenName() + contact.familyName() + contact.note();
    for (const char* fault : {"\xEF\xBF\xBD", "\xC3\x83", "=\n", "=C3"})
      EXPECT_THAT(text, testing::Not(HasSubstr(fault))) << contact.identifier();
  };
  EXPECT_TRUE(store->enumerateContactsWithFetchRequest(request, nullptr, check));
  EXPECT_THAT(log->take(), ElementsAre(HasSubstr("companies.vcf, card 3")));
}

class Access : public ContactsFixture {
 protected:
  // Requests access; what came of it lands in `answers`.
  void request(CNContactStore& store) {
    store.requestAccessForEntityType(CNEntityTypeContacts, [this](bool granted, ErrorPtr error) {
      answers.push_back(granted);
      EXPECT_EQ(granted, error == nullptr);
    });
  }
  std::vector<bool> answers;
};

TEST_F(Access, IsGrantedUnaskedToABookThatTheHostNamesAlone) {
  for (const auto& [named, status] : {std::pair("", CNAuthorizationStatusDenied),
                                      std::pair("~", CNAuthorizationStatusAuthorized)}) {
    std::int64_t found = -1;
    const auto look = [&, home = root / std::to_string(status)](const std::string& name) {
      const Linux device{.home = home, .addressBook = name, .adjust = [&](Platform& platform) {
                           const auto store = platform.contacts->makeStore();
                           store->requestAccessForEntityType(CNEntityTypeContacts, nullptr);
                           found = platform.contacts->authorizationStatus();
                           throw std::runtime_error("That will do.");
                         }};
    };
    EXPECT_THROW(look(named), std::runtime_error);
    EXPECT_EQ(found, status) << named;
  }
}

TEST_F(Access, IsAskedOnceAndRemembered) {
  write("book/a.vcf", card("a"));
  std::vector<std::function<void(bool)>> questions;
  VCardContactsOptions asking = options(book);
  asking.question = [&](std::function<void(bool)> answer) { questions.push_back(answer); };
  const auto provider = makeVCardContacts(asking);
  const auto store = provider->makeStore();
  ErrorPtr error;
  EXPECT_THAT(identifiers(*store, &error), IsEmpty());
  EXPECT_EQ(reported(error), "CNErrorDomain 100: Access to the contacts was denied.");
  EXPECT_FALSE(store->unifiedContactWithIdentifier("a", {}, nullptr));
  EXPECT_THAT(store->unifiedContactsMatchingPredicate({}, {}, nullptr), IsEmpty());

  request(*store);
  store->requestAccessForEntityType(CNEntityTypeContacts, nullptr);
  request(*store);
  defaults->meanwhile = [&] { questions[0](true); };
  request(*store);
  ASSERT_THAT(questions, SizeIs(1));
  questions[0](false);
  EXPECT_THAT(answers, IsEmpty()) << "answered inside the call";
  queue->run();
  EXPECT_THAT(answers, ElementsAre(true, true, true));
  EXPECT_EQ(defaults->values.at("quillfold.platform.contacts.access").integerValue(),
            CNAuthorizationStatusAuthorized);
  EXPECT_THAT(identifiers(*store), ElementsAre("a"));

  const auto later = makeVCardContacts(asking);
  request(*later->makeStore());
  queue->run();
  EXPECT_EQ(answers.size(), 4u);
  EXPECT_THAT(questions, SizeIs(1));
  for (const std::int64_t status : {CNAuthorizationStatusRestricted, CNAuthorizationStatusDenied,
                                    CNAuthorizationStatusNotDetermined}) {
    provider->setAuthorizationStatus(status);
    EXPECT_EQ(later->authorizationStatus(), status);
    EXPECT_THAT(identifiers(*store), IsEmpty());
  }
}

TEST_F(Access, IsRefusedWithoutAnAnswer) {
  VCardContactsOptions silent = options(book);
  silent.question = [](const std::function<void(bool)>&) {};
  for (const auto& [given, status] : {std::pair(silent, CNAuthorizationStatusNotDetermined),
                                      std::pair(options(book), CNAuthorizationStatusDenied)}) {
    const auto provider = makeVCardContacts(given);
    request(*provider->makeStore());
    queue->run();
    EXPECT_EQ(provider->authorizationStatus(), status);
  }
  EXPECT_THAT(answers, ElementsAre(false, false));
  EXPECT_THAT(defaults->values, IsEmpty());
}

}  // namespace
}  // namespace quillfold
