// The platform's way to pass notifications on.
#include <gtest/gtest.h>

#include <thread>

#include "platform/notification_center.h"

namespace quillfold {
namespace {

TEST(NotificationCenter, CallsEveryRegistrationOfTheNameInsideThePost) {
  NSNotificationCenter center;
  int a = 0, b = 0;
  std::thread::id thread;
  center.addObserver(&a, "N", [&] { ++a; });
  center.addObserver(&a, "N", [&] { ++a, thread = std::this_thread::get_id(); });
  center.addObserver(&a, "M", [&] { a += 100; });
  center.addObserver(&b, "N", [&] { ++b; });
  std::thread poster([&] { center.postNotificationName("N"); });
  const auto posterId = poster.get_id();
  poster.join();
  EXPECT_EQ(a, 2);
  EXPECT_EQ(thread, posterId);
  center.removeObserver(&a);
  center.postNotificationName("N");
  center.postNotificationName("M");
  EXPECT_EQ(a, 2);
  EXPECT_EQ(b, 2);
}

TEST(NotificationCenter, HandlersAndTheirLastOwnersMayCallBack) {
  NSNotificationCenter center;
  int calls = 0;
  // Removes itself while it runs; what it holds posts once more on its release.
  const auto held =
      std::shared_ptr<int>(&calls, [&](int*) { center.postNotificationName("other"); });
  center.addObserver(&center, "other", [] {});
  center.addObserver(&calls, "N", [&center, &calls, own = held] {
    ++*own;
    center.removeObserver(&calls);
    center.addObserver(&calls, "other", [&calls] { calls += 10; });
  });
  center.postNotificationName("N");
  center.postNotificationName("N");
  center.postNotificationName("other");
  EXPECT_EQ(calls, 11);
}

}  // namespace
}  // namespace quillfold
