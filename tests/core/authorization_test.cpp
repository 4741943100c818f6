// The permission to read contacts.
#include "core/contacts_authorization.h"
#include "tests/support/service_test.h"

namespace quillfold::testing {
namespace {

using Authorization = ServiceTest;

TEST_F(Authorization, MapsThePlatformsAnswerAnewEachTime) {
  struct Row {
    std::int64_t platformValue, status;
    bool mayRead, showsAlert;
  };
  const Row rows[] = {{CNAuthorizationStatusNotDetermined, 0, false, false},
                      {CNAuthorizationStatusRestricted, 4, false, true},
                      {CNAuthorizationStatusDenied, 3, false, true},
                      {CNAuthorizationStatusAuthorized, 1, true, false},
                      {4, 3, false, true},
                      {99, 3, false, true}};
  const auto authorization = QFContactsAuthorizationService::sharedInstance();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.platformValue);
    platform.contacts->status = row.platformValue;
    EXPECT_EQ(authorization->checkAccessStatus(), row.status);
    EXPECT_EQ(service->contactsAccessStatus(), row.status);
    EXPECT_EQ(authorization->hasContactsReadAccess(), row.mayRead);
    EXPECT_EQ(authorization->shouldShowSettingsAlert(), row.showsAlert);
  }
}

TEST_F(Authorization, RequestsThroughAStoreOfItsOwnAndAnswersOnTheMainQueue) {
  const auto authorization = QFContactsAuthorizationService::sharedInstance();
  platform.contacts->status = CNAuthorizationStatusNotDetermined;
  platform.contacts->statusAfterRequest = CNAuthorizationStatusDenied;
  platform.contacts->requestError = NSError::errorWithDomain("D", 7);
  const int storesBefore = platform.contacts->storesMade;
  Recorded<std::int64_t> refused;
  authorization->requestAccessWithCompletion(refused.completion());
  EXPECT_EQ(platform.contacts->storesMade, storesBefore + 1);
  platform.settle();
  EXPECT_EQ(refused.calls, 1);
  EXPECT_EQ(refused.result, QFContactsAuthorizationStatusDenied);
  EXPECT_EQ(refused.failure, platform.contacts->requestError);
  EXPECT_EQ(refused.place, Place::MainQueue);

  // The granted flag is not looked at: what counts is the answer at the end.
  platform.contacts->statusAfterRequest = CNAuthorizationStatusAuthorized;
  std::vector<bool> granted;
  service->requestContactsAccessWithCompletion([&](bool may) { granted.push_back(may); });
  ASSERT_TRUE(platform.globalQueue->runOne());
  platform.contacts->status = CNAuthorizationStatusRestricted;
  platform.settle();
  service->requestContactsAccessWithCompletion([&](bool may) { granted.push_back(may); });
  service->requestContactsAccessWithCompletion(nullptr);
  authorization->requestAccessWithCompletion(nullptr);
  platform.settle();
  EXPECT_EQ(granted, std::vector<bool>({false, true}));
  EXPECT_EQ(platform.contacts->storesMade, storesBefore + 5);
}

}  // namespace
}  // namespace quillfold::testing
