// The road of one sync, from the facade to the bookkeeping.
#include <gtest/gtest.h>

#include "core/contact_service.h"
#include "core/user_info.h"
#include "sync/contact_sync_info.h"
#include "tests/support/fake_platform.h"

namespace quillfold::testing {
namespace {

TEST(SyncRoad, UploadsOnceAndThenOnlyWhatChanged) {
  FakePlatform platform;
  platform.serveBackend();
  for (int i = 0; i < 45; ++i) {
    platform.contacts->add(MemoryContacts::person("id" + std::to_string(i), "Name" + std::to_string(i)));
  }
  const auto service = QFContactService::sharedInstance();
  bool ready = false;
  service->initializeWithAPIKey("KEY", "TOKEN",
                                QFUserInfo::initWithUserId("u1", {}, "a@example.com", {}), nullptr,
                                [&](bool success, const ErrorPtr&) { ready = success; });
  platform.settle();
  ASSERT_TRUE(ready);
  EXPECT_EQ(platform.sessions->count("/api/v1/client/contacts/sync"), 3u);
  EXPECT_TRUE(platform.log->contains("info ContactService: Processing batch 3 of 3 (5 contacts)"));
  EXPECT_TRUE(platform.log->contains("Initial contact sync completed successfully"));
  EXPECT_EQ(service->activeSyncInfo().size(), 45u);

  platform.contacts->replace(MemoryContacts::person("id7", "Renamed"));
  platform.notifications->postNotificationName(CNContactStoreDidChangeNotification);
  platform.settle();
  EXPECT_EQ(platform.sessions->count("/api/v1/client/contacts/sync"), 4u);
  const Value body = platform.sessions->last("/api/v1/client/contacts/sync")->json();
  EXPECT_EQ(find(*body.asDictionary(), "contacts")->asArray()->size(), 1u);
}

}  // namespace
}  // namespace quillfold::testing
