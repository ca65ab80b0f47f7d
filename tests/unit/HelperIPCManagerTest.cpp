#include <gtest/gtest.h>

#include "Core/HelperConstants.h"
#include "Core/HelperIPCManager.h"
#include "Core/KeystrokeInjector.h"
#include "fakes/FakePlatform.h"
#include "fakes/VirtualClock.h"

namespace velko::test {
namespace {

using Names = HelperConstants::Notification;

struct HelperIPCManagerTest : ::testing::Test {
    Log log;
    VirtualClock clock;
    FakeNotificationCenter center{&log};
    FakeTrust trust;
    FakeKeyboard keyboard;
    FakeWorkspace workspace;
    FakeFocusTracker focus;
    KeystrokeInjector injector{clock, keyboard, focus};
    HelperIPCManager link{center, trust, injector, workspace};

    void SetUp() override { link.start(); }
    // Each request lands in its own rate-limit period.
    void request(const std::string& name, const std::string& object = "") {
        clock.advance(1.0);
        center.deliver(name, object);
    }
};

TEST_F(HelperIPCManagerTest, WithoutTrustEachRequestIsAnsweredWithADegradedNoticeUntilTrustReturns) {
    trust.trusted = false;
    request(Names::pasteNow);
    request(Names::pasteMatch);
    EXPECT_TRUE(keyboard.events.empty());
    EXPECT_EQ(center.postedObjects(Names::helperDegraded),
              (std::vector<std::string>{"accessibility_revoked", "accessibility_revoked"}));
    trust.trusted = true;
    request(Names::pasteNow);
    EXPECT_EQ(keyboard.events.size(), 2u);
}

TEST_F(HelperIPCManagerTest, PasteRequestsShareTheRateLimitAndTheExpansionTriggerDoesNothing) {
    request(Names::pasteNow);
    center.deliver(Names::pastePlain);
    EXPECT_EQ(keyboard.events.size(), 2u);

    const auto postsBefore = center.posts.size();
    request(Names::expansionTrigger, "x");
    EXPECT_EQ(center.posts.size(), postsBefore);
    EXPECT_EQ(keyboard.events.size(), 2u);
}

}  // namespace
}  // namespace velko::test
