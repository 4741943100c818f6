// Screens: their subscriptions die with them, and before them.
#include "events/event_subscription.h"
#include "events/event_wrapper_service.h"
#include "events/view_controller.h"
#include "tests/support/service_test.h"

namespace quillfold::testing {
namespace {

constexpr const char* kId = "screen";
constexpr const char* kOutlived =
    "error ViewController: The subscriptions of a screen have outlived its destructor; make "
    "screens by makeScreen";

class Screens : public ServiceTest {
 protected:
  // Whether a handler stands under the pair: delivers the event and looks.
  int deliver() {
    const int before = calls;
    QFEventWrapperService::sharedInstance()->notifySubscribersForEvent(QFEventAppWasTerminated);
    platform.settle();
    return calls - before;
  }
  std::function<void()> count() {
    return [this] { ++calls; };
  }
  void subscribe(UIViewController& screen, std::int64_t event = QFEventAppWasTerminated) {
    screen.subscribeToQuillfoldEvent(event, kId, count());
  }

  int calls = 0;
};

// Announces the event in its destructor: a handler that is still there is called.
struct Announcing : UIViewController {
  explicit Announcing(std::function<void()> hook = {}) : onDeath(std::move(hook)) {}
  ~Announcing() override {
    if (onDeath) onDeath();
  }
  std::function<void()> onDeath;
  std::string ballast = "more than the base";
};
struct Second {
  virtual ~Second() = default;
  int value = 2;
};
// GCC takes the base at an offset for a pointer that can't be freed.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wfree-nonheap-object"
struct Composed : Second, Announcing {
  using Announcing::Announcing;
};
struct Virtual final : virtual Announcing {
  using Announcing::Announcing;
};
#pragma GCC diagnostic pop
struct alignas(64) Aligned : Announcing {
  using Announcing::Announcing;
};
struct Throwing : Announcing {
  Throwing() { throw std::runtime_error("no screen"); }
};

TEST_F(Screens, EveryDeleteClearsThePairsBeforeTheDestructor) {
  int atDeath = 0;
  const auto hook = [&] { atDeath = deliver(); };
  const auto die = [&](auto screen) {
    atDeath = -1;
    subscribe(*screen);
    screen.reset();
    EXPECT_EQ(atDeath, 0) << "The handler was still there in the destructor.";
    EXPECT_EQ(deliver(), 0);
  };
  die(std::unique_ptr<Announcing>(new (std::nothrow) Announcing(hook)));
  die(std::unique_ptr<UIViewController>(new Announcing(hook)));
  die(std::shared_ptr<UIViewController>(new Composed(hook)));
  die(makeScreen<Virtual>(hook));
  std::shared_ptr<Aligned> aligned(new (std::nothrow) Aligned(hook));
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(aligned.get()) % 64, 0u);
  die(std::move(aligned));
  EXPECT_FALSE(logged(kOutlived));
  EXPECT_THROW(makeScreen<Throwing>(), std::runtime_error);
  EXPECT_THROW(new (std::nothrow) Throwing, std::runtime_error);
}

TEST_F(Screens, OthersAreClearedByTheBase) {
  {
    const auto screen = std::make_shared<Announcing>();
    subscribe(*screen);
    Announcing local;
    local.subscribeToQuillfoldEvent(QFEventAppWasTerminated, "local", count());
    EXPECT_EQ(deliver(), 2);
  }
  EXPECT_EQ(deliver(), 0);
  UIViewController().allSubscriptions();
  EXPECT_EQ(platform.log->count(kOutlived), 2u);
}

TEST_F(Screens, NotesDuplicatesAndForgetsThemTogether) {
  const auto screen = makeScreen<Announcing>();
  subscribe(*screen);
  subscribe(*screen);
  subscribe(*screen, QFEventContactsAccessChanged);
  EXPECT_EQ(screen->allSubscriptions().size(), 3u);
  EXPECT_EQ(
      QFEventWrapperService::sharedInstance()->eventHandlers()[QFEventAppWasTerminated].size(), 1u);
  EXPECT_EQ(deliver(), 1);
  screen->unsubscribeFromQuillfoldEvent(QFEventAppWasTerminated, kId);
  ASSERT_EQ(screen->allSubscriptions().size(), 1u);
  EXPECT_EQ(screen->allSubscriptions()[0]->event(), QFEventContactsAccessChanged);
  EXPECT_EQ(deliver(), 0);
}

TEST_F(Screens, TwoWithOneIdentifierShareOneEntry) {
  auto first = makeScreen<Announcing>();
  const auto second = makeScreen<Announcing>();
  subscribe(*first);
  int later = 0;
  second->subscribeToQuillfoldEvent(QFEventAppWasTerminated, kId, [&later] { ++later; });
  EXPECT_EQ(deliver(), 0) << "The later handler has replaced the earlier one.";
  EXPECT_EQ(later, 1);
  first.reset();
  deliver();
  EXPECT_EQ(later, 1) << "The entry went with the first screen.";
  EXPECT_EQ(second->allSubscriptions().size(), 1u);
}

// Who takes the pair of a screen that still notes it loses it when the screen dies,
// but not when the screen has been cleared before.
TEST_F(Screens, ClearsWhatItNotesOnceEvenWhereAnotherHasTakenThePair) {
  const auto& events = QFEventWrapperService::sharedInstance();
  for (const bool cleared : {false, true}) {
    auto screen = makeScreen<Announcing>();
    subscribe(*screen);
    if (cleared) screen->qf_dealloc();
    events->unsubscribeFromEvent(QFEventAppWasTerminated, kId);
    EXPECT_EQ(screen->allSubscriptions().size(), cleared ? 0u : 1u);
    events->subscribeToEvent(QFEventAppWasTerminated, kId, count());
    screen.reset();
    EXPECT_EQ(deliver(), cleared ? 1 : 0);
  }
}

TEST_F(Screens, DyingAroundADelivery) {
  // Between the event and the delivery.
  auto waiting = makeScreen<Announcing>();
  subscribe(*waiting);
  QFEventWrapperService::sharedInstance()->notifySubscribersForEvent(QFEventAppWasTerminated);
  waiting.reset();
  platform.settle();
  EXPECT_EQ(calls, 0);

  // In its own handler, and in another screen's handler of the same delivery: the
  // list of a delivery is fixed, so both are called in it and never again.
  std::map<std::string, std::shared_ptr<Announcing>> screens;
  for (const char* name : {"a", "b"}) {
    screens[name] = makeScreen<Announcing>();
    screens[name]->subscribeToQuillfoldEvent(QFEventAppWasTerminated, name, [&, name] {
      ++calls;
      if (std::string(name) == "a") screens.clear();
    });
  }
  EXPECT_EQ(deliver(), 2);
  EXPECT_EQ(deliver(), 0);
}

TEST_F(Screens, OneThatNeverSubscribedLeavesTheServiceAlone) {
  platform.log->clear();
  makeScreen<Announcing>().reset();
  auto left = makeScreen<Announcing>();
  subscribe(*left);
  left->unsubscribeFromQuillfoldEvent(QFEventAppWasTerminated, kId);
  const auto lines = platform.log->lines().size();
  left.reset();
  EXPECT_EQ(platform.log->lines().size(), lines);
}

}  // namespace
}  // namespace quillfold::testing
