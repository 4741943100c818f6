// The permission to read contacts.
#include "core/contacts_authorization.h"
#include "tests/support/service_test.h"

namespace quillfold::testing {
namespace {

using Authorization = ServiceTest;

TEST_F(Authorization, MapsThePlatformsAnswerAnewEachTime) {
  const auto authorization = service->authorizationService();
  struct Row {
    std::int64_t platformValue, status;
    bool mayRead, showsAlert;
  };
  for (const Row& row : {Row{0, 0, false, false}, Row{1, 4, false, true}, Row{2, 3, false, true},
                         Row{3, 1, true, false}, Row{4, 3, false, true}, Row{9, 3, false, true}}) {
    platform.contacts->status = row.platformValue;
    EXPECT_EQ(service->contactsAccessStatus(), row.status) << row.platformValue;
    EXPECT_EQ(authorization->hasContactsReadAccess(), row.mayRead) << row.platformValue;
    EXPECT_EQ(authorization->shouldShowSettingsAlert(), row.showsAlert) << row.platformValue;
  }
}

TEST_F(Authorization, RequestsThroughAStoreOfItsOwnAndAnswersOnTheMainQueue) {
  platform.contacts->requestError = NSError::errorWithDomain("D", 7);
  const int storesBefore = platform.contacts->storesMade;
  Recorded<std::int64_t> asked;
  bool granted = true;
  service->authorizationService()->requestAccessWithCompletion(asked.completion());
  service->authorizationService()->requestAccessWithCompletion(nullptr);
  service->requestContactsAccessWithCompletion([&](bool may) { granted = may; });
  service->requestContactsAccessWithCompletion(nullptr);
  EXPECT_EQ(platform.contacts->storesMade, storesBefore + 4);
  // What counts is the status at the end, not what the request was told.
  while (platform.globalQueue->runOne()) {
  }
  platform.contacts->status = CNAuthorizationStatusRestricted;
  platform.settle();
  EXPECT_EQ(asked.calls, 1);
  EXPECT_EQ(asked.result, QFContactsAuthorizationStatusRestricted);
  EXPECT_EQ(asked.failure, platform.contacts->requestError);
  EXPECT_EQ(asked.place, Place::MainQueue);
  EXPECT_FALSE(granted);
}

}  // namespace
}  // namespace quillfold::testing
