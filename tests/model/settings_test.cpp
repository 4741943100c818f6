// Options, the user's record and the library's errors.
#include "core/error.h"
#include "core/options.h"
#include "core/user_info.h"
#include "tests/model/model_fixture.h"

namespace quillfold::testing {
namespace {

class Settings : public ModelTest {};

TEST_F(Settings, OptionsSurviveInTheUserDefaults) {
  EXPECT_TRUE(QFQuillfoldOptions::defaultOptions()->restrictedKeysToFetch().empty());
  EXPECT_TRUE(QFQuillfoldOptions::loadFromUserDefaults()->restrictedKeysToFetch().empty());
  const std::set<std::int64_t> keys = {0, 1, -7};
  QFQuillfoldOptions::initWithRestrictedKeysToFetch(keys)->saveToUserDefaults();
  EXPECT_EQ(compact(platform.defaults->objectForKey("com.quillfold.options").value()),
            R"({"restrictedKeys":[-7,0,1]})");
  EXPECT_EQ(QFQuillfoldOptions::loadFromUserDefaults()->restrictedKeysToFetch(), keys);
  QFQuillfoldOptions::defaultOptions()->saveToUserDefaults();
  EXPECT_TRUE(QFQuillfoldOptions::loadFromUserDefaults()->restrictedKeysToFetch().empty());

  EXPECT_EQ(QFContactDataRestrictionUtils::contactKeyFromRestriction(0), CNContactNoteKey);
  EXPECT_EQ(QFContactDataRestrictionUtils::contactKeyFromRestriction(1), "");
}

TEST_F(Settings, StrangeDefaultsLoadAsWhatCanBeReadOfThem) {
  const std::pair<Value, std::set<std::int64_t>> rows[] = {
      {Value("text"), {}},
      {Value(Dictionary{{"other", 1}}), {}},
      {Value(Dictionary{{"restrictedKeys", "0"}}), {}},
      {Value(Dictionary{{"restrictedKeys", Array{"x", 0, Array{}, 4}}}), {0, 4}}};
  for (const auto& [stored, keys] : rows) {
    platform.defaults->setObject(stored, "com.quillfold.options");
    EXPECT_EQ(QFQuillfoldOptions::loadFromUserDefaults()->restrictedKeysToFetch(), keys);
  }
}

TEST_F(Settings, UserNeedsAnIdAndAWayToBeReached) {
  struct Row {
    const char* id;
    OptionalString email, phone;
    bool valid;
  };
  const Row rows[] = {{"u", "", {}, false},   {"u", {}, "", false}, {"u", {}, {}, false},
                      {"u", "", "1", true},   {"u", "a", {}, true}, {"u", "a", "1", true},
                      {"", "a@b", "1", false}};
  for (const Row& row : rows) {
    EXPECT_EQ(QFUserInfo::initWithUserId(row.id, {}, row.email, row.phone)->isValid(), row.valid);
  }
  const auto user = QFUserInfo::initWithUserId("u", "Ann", "e", "p", "a", Dictionary{{"k", 1}});
  EXPECT_EQ(*user->fullName() + *user->email() + *user->phone() + *user->avatarUrl(), "Annepa");
  EXPECT_EQ(compact(user->metadata().value()), R"({"k":1})");
}

TEST_F(Settings, ErrorsCarryWhatTheyWereGiven) {
  const ErrorPtr cause = QFError::errorWithCode(QFErrorCodeNoUserId, "Cause");
  const ErrorPtr error = QFError::errorWithCode(QFErrorCodeFetchFailed, "Failed", cause);
  EXPECT_EQ(error->domain(), "com.quillfold");
  EXPECT_EQ(error->code(), 1004);
  EXPECT_EQ(error->localizedDescription(), "Failed");
  EXPECT_EQ(error->underlyingError(), cause);
  EXPECT_EQ(cause->underlyingError(), nullptr);
  const ErrorPtr textless = QFError::errorWithCode(-3, std::nullopt);
  EXPECT_TRUE(textless->userInfo().empty());
  EXPECT_EQ(textless->localizedDescription(),
            "The operation couldn’t be completed. (com.quillfold error -3.)");
}

}  // namespace
}  // namespace quillfold::testing
