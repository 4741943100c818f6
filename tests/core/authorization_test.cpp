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

TEST_F(Authorization, LeadsToTheSettingsOnlyWhereAccessIsRefused) {
  UIViewController screen;
  const auto& alerts = platform.interface->alerts;
  for (const std::int64_t open :
       {CNAuthorizationStatusNotDetermined, CNAuthorizationStatusAuthorized}) {
    platform.contacts->status = open;
    service->authorizationService()->showSettingsAlertViewFromViewController(screen);
    EXPECT_TRUE(alerts.empty());
  }
  platform.contacts->status = CNAuthorizationStatusDenied;
  service->authorizationService()->showSettingsAlertViewFromViewController(screen);
  ASSERT_EQ(alerts.size(), 1u);
  EXPECT_EQ(platform.interface->presentedFrom, &screen);
  EXPECT_TRUE(platform.interface->wasAnimated);
  EXPECT_EQ(alerts[0]->title(), "Contacts Access Required");
  EXPECT_EQ(alerts[0]->message(),
            "This app requires access to your contacts. Please enable contacts access in "
            "Settings.");
  EXPECT_EQ(alerts[0]->preferredStyle(), 1);
  const auto& actions = alerts[0]->actions();
  ASSERT_EQ(actions.size(), 2u);
  EXPECT_EQ(actions[0].title, "Cancel");
  EXPECT_EQ(actions[0].style, 1);
  EXPECT_FALSE(actions[0].handler);
  EXPECT_EQ(actions[1].title, "Settings");
  EXPECT_EQ(actions[1].style, 0);
  platform.interface->opens = false;
  actions[1].handler();
  EXPECT_TRUE(platform.interface->opened.empty());
  platform.interface->opens = true;
  actions[1].handler();
  EXPECT_EQ(platform.interface->opened,
            std::vector<std::string>{UIApplicationOpenSettingsURLString});
}

}  // namespace
}  // namespace quillfold::testing
