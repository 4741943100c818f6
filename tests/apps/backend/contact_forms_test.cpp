// Contacts as the library writes them.
#include "api/records/server_contact.h"
#include "foundation/json.h"
#include "model/contact.h"
#include "tests/apps/backend/backend_fixture.h"
#include "tests/model/model_fixture.h"

namespace quillfold::backend {
namespace {

using testing::everyField;

class ContactFormsTest : public BackendTest {
 protected:
  // Posts the bytes that the library makes of a body.
  void expectTaken(const Dictionary& body, std::size_t count) {
    const Reply reply = postText(kSyncPath, NSJSONSerialization::dataWithJSONObject(body).value());
    EXPECT_EQ(reply.status, 200) << reply.text;
    EXPECT_EQ(reply.body()["data"]["processed_count"], count);
  }
  testing::FakePlatform platform_;
};

TEST_F(ContactFormsTest, UploadsAndRecordsAreBothTaken) {
  signIn();
  const QFContactPtr full = everyField();
  const Dictionary upload = full->toServerContactWithOrganizationId("o", "s");
  const Dictionary bare =
      QFContact::initWithIdentifier("i")->toServerContactWithOrganizationId("o", "s");
  expectTaken({{"contacts", Array{upload, bare}}, {"skip_duplicates", false}}, 2);

  const auto composed = QFServerContact::initWithDisplayName("Ann", "o", "s");
  const auto fresh = QFServerContact::initWithDisplayName("Bo", "o", "s");
  composed->setIdentifier("j");
  composed->setPhoneNumbers(std::vector{
      QFServerContactPhoneNumber::initWithIdentifier("1", "home", "+1", true, "x", "p")});
  composed->setInstantMessageAddresses(std::vector{
      QFServerContactInstantMessage::initWithIdentifier({}, "s", {}, "u", "home", true)});
  // What was read from an upload keeps the upload's nulls, and has a record's entries.
  const auto read = QFServerContact::fromDictionary(upload);
  const auto batch =
      QFServerContactBulkCreate::initWithContacts(std::vector{composed, fresh, read}, false);
  expectTaken(batch->toDictionary(), 3);
  EXPECT_EQ(server().contactCount(), 4u) << "The two forms of one contact are one contact.";
}

}  // namespace
}  // namespace quillfold::backend
