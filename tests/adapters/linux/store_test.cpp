#include <sys/stat.h>
#include <unistd.h>

#include "adapters/linux/book/book_tree.h"
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
  EXPECT_FALSE(store->unifiedContactWithIdentifier("other", {}, &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain(), CNErrorDomain);
  EXPECT_EQ(error->code(), CNErrorCodeRecordDoesNotExist);
}

TEST_F(Store, SeesEveryChangeAndTellsFaultsOnce) {
  const auto provider = authorized(book);
  const auto store = provider->makeStore();
  ErrorPtr error;
  EXPECT_THAT(identifiers(*store, &error), IsEmpty());
  EXPECT_FALSE(error) << "a book that is not there yet is empty";
  EXPECT_TRUE(identifiers(*store).empty());
  EXPECT_THAT(log->take(), ElementsAre(HasSubstr("there is no such address book")));
  write("book/a.vcf", card("a") + "BEGIN:VCARD\nN:broken\n" + card("a") + card("a"));
  const std::vector<std::string> first = identifiers(*store);
  ASSERT_THAT(first, SizeIs(3));
  EXPECT_EQ(first[0], "a");
  EXPECT_THAT(first[1], testing::StartsWith("a-"));
  EXPECT_EQ(first[2], first[1] + "-2");
  EXPECT_THAT(log->take(), ElementsAre(HasSubstr("a.vcf, card 2, line 7: the card has no END"),
                                       HasSubstr("becomes " + first[1]), HasSubstr(first[2])));
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
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), CNErrorCodeDataAccessError);
    EXPECT_EQ(error->localizedDescription(),
              "The address book can't be read: " + path.string() + reason);
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

TEST_F(Store, NamesLabels) {
  VCardContactsOptions german = options(book);
  german.labels = {{"homefax", "Fax privat"}};
  const auto provider = makeVCardContacts(options(book));
  std::string texts;
  for (const char* label :
       {"_$!<HomeFAX>!$_", "_$!<Mobile>!$_", "_$!<NewOne>!$_", "Boat", "_$!<>!$_", "", "iPhone"})
    texts += provider->localizedLabel(label) + ", ";
  EXPECT_EQ(texts, "home fax, mobile, newone, Boat, _$!<>!$_, , iPhone, ");
  EXPECT_EQ(makeVCardContacts(german)->localizedLabel("_$!<HomeFAX>!$_"), "Fax privat");
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

TEST_F(Access, IsAskedOnceAndRemembered) {
  write("book/a.vcf", card("a"));
  std::vector<std::function<void(bool)>> questions;
  VCardContactsOptions asking = options(book);
  asking.question = [&](std::function<void(bool)> answer) { questions.push_back(answer); };
  const auto provider = makeVCardContacts(asking);
  const auto store = provider->makeStore();
  ErrorPtr error;
  EXPECT_THAT(identifiers(*store, &error), IsEmpty());
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), CNErrorCodeAuthorizationDenied);

  request(*store);
  request(*store);
  defaults->meanwhile = [&] { questions[0](true); };
  request(*store);
  ASSERT_THAT(questions, SizeIs(1));
  questions[0](false);
  EXPECT_THAT(answers, IsEmpty()) << "answered inside the call";
  queue->run();
  EXPECT_THAT(answers, ElementsAre(true, true, true));
  EXPECT_EQ(provider->authorizationStatus(), CNAuthorizationStatusAuthorized);
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
