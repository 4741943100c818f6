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
  for (const Row& row : {Row{0, 0, false, false}, Row{1, 4, false, true}, Row{2, 3, false, true},
                         Row{3, 1, true, false}, Row{4, 3, false, true}, Row{9, 3, false, true}}) {
    SCOPED_TRACE(row.platformValue);
    platform.contacts->status = row.platformValue;
    EXPECT_EQ(service->contactsAccessStatus(), row.status);
    EXPECT_EQ(service->authorizationService()->hasContactsReadAccess(), row.mayRead);
    EXPECT_EQ(service->authorizationService()->shouldShowSettingsAlert(), row.showsAlert);
  }
}

TEST_F(Authorization, RequestsThroughAStoreOfItsOwnAndAnswersOnTheMainQueue) {
  platform.contacts->statusAfterRequest = CNAuthorizationStatusDenied;
  platform.contacts->requestError = NSError::errorWithDomain("D", 7);
  const int storesBefore = platform.contacts->storesMade;
  Recorded<std::int64_t> refused;
  service->authorizationService()->requestAccessWithCompletion(refused.completion());
  service->authorizationService()->requestAccessWithCompletion(nullptr);
  EXPECT_EQ(platform.contacts->storesMade, storesBefore + 2);
  // What counts is the answer at the end, not what the request was told.
  while (platform.globalQueue->runOne()) {
  }
  platform.contacts->status = CNAuthorizationStatusRestricted;
  platform.settle();
  EXPECT_EQ(refused.calls, 1);
  EXPECT_EQ(refused.result, QFContactsAuthorizationStatusRestricted);
  EXPECT_EQ(refused.failure, platform.contacts->requestError);
  EXPECT_EQ(refused.place, Place::MainQueue);

  platform.contacts->statusAfterRequest = CNAuthorizationStatusAuthorized;
  bool granted = false;
  service->requestContactsAccessWithCompletion([&](bool may) { granted = may; });
  service->requestContactsAccessWithCompletion(nullptr);
  platform.settle();
  EXPECT_TRUE(granted);
}

}  // namespace
}  // namespace quillfold::testing
