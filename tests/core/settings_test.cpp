// Options, the user's record and the library's errors.
#include "core/error.h"
#include "core/options.h"
#include "core/user_info.h"
#include "tests/model/model_fixture.h"

namespace quillfold::testing {
namespace {

class Settings : public ModelTest {};

TEST_F(Settings, OptionsSurviveInTheUserDefaults) {
  EXPECT_TRUE(QFQuillfoldOptions::loadFromUserDefaults()->restrictedKeysToFetch().empty());
  QFQuillfoldOptions::initWithRestrictedKeysToFetch({0, 1, -7})->saveToUserDefaults();
  EXPECT_EQ(platform.defaults->synchronizations, 1);
  EXPECT_EQ(compact(platform.defaults->objectForKey("com.quillfold.options").value()),
            R"({"restrictedKeys":[-7,0,1]})");
  std::string read;  // Of options that nobody holds any more.
  for (const std::int64_t key : QFQuillfoldOptions::loadFromUserDefaults()->restrictedKeysToFetch())
    read += std::to_string(key) + ' ';
  EXPECT_EQ(read, "-7 0 1 ");
  EXPECT_EQ(QFContactDataRestrictionUtils::contactKeyFromRestriction(0), CNContactNoteKey);
  EXPECT_EQ(QFContactDataRestrictionUtils::contactKeyFromRestriction(1), "");

  // What was stored by somebody else is taken as far as it can be read.
  for (const char* stored : {R"({"other":1})", R"({"restrictedKeys":"0"})", R"(["text"])"}) {
    platform.defaults->setObject(parsed(stored), "com.quillfold.options");
    EXPECT_TRUE(QFQuillfoldOptions::loadFromUserDefaults()->restrictedKeysToFetch().empty());
  }
  platform.defaults->setObject(parsed(R"({"restrictedKeys":["x",0.5,-0.3,1e300,4,7.0]})"),
                               "com.quillfold.options");
  EXPECT_EQ(QFQuillfoldOptions::loadFromUserDefaults()->restrictedKeysToFetch(),
            std::set<std::int64_t>({4, 7}));
}

TEST_F(Settings, UserNeedsAnIdAndAWayToBeReached) {
  const auto valid = [](const char* id, OptionalString email, OptionalString phone) {
    return QFUserInfo::initWithUserId(id, "Ann", email, phone)->isValid();
  };
  EXPECT_TRUE(valid("u", "", "1") && valid("u", "a", {}) && valid("u", "a", "1"));
  EXPECT_FALSE(valid("u", "", {}) || valid("u", {}, "") || valid("", "a@b", "1"));
  const auto user = QFUserInfo::initWithUserId("u", "Ann", "e", "p", "a", Dictionary{{"k", 1}});
  EXPECT_EQ(*user->fullName() + *user->email() + *user->phone() + *user->avatarUrl(), "Annepa");
  EXPECT_EQ(find(*user->metadata(), "k")->integerValue(), 1);
}

TEST_F(Settings, ErrorsCarryWhatTheyWereGiven) {
  const ErrorPtr cause = QFError::errorWithCode(QFErrorCodeNoUserId, "Cause");
  const ErrorPtr error = QFError::errorWithCode(QFErrorCodeFetchFailed, "Failed", cause);
  EXPECT_EQ(error->domain() + std::to_string(error->code()), "com.quillfold1004");
  EXPECT_EQ(error->localizedDescription(), "Failed");
  EXPECT_EQ(error->underlyingError(), cause);
  EXPECT_EQ(
      error->description(),
      R"(Error Domain=com.quillfold Code=1004 "Failed" UserInfo={NSLocalizedDescription=Failed, )"
      R"(NSUnderlyingError={Error Domain=com.quillfold Code=1010 "Cause" )"
      R"(UserInfo={NSLocalizedDescription=Cause}}})");
  const ErrorPtr textless = QFError::errorWithCode(-3, std::nullopt);
  EXPECT_TRUE(textless->userInfo().empty());
  EXPECT_EQ(textless->localizedDescription(),
            "The operation couldn’t be completed. (com.quillfold error -3.)");
  EXPECT_EQ(textless->description(), "Error Domain=com.quillfold Code=-3 \"(null)\"");
}

}  // namespace
}  // namespace quillfold::testing
