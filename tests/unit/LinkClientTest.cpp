#include <gtest/gtest.h>

#include "fakes/FakePlatform.h"
#include "fakes/VirtualClock.h"
#include "velkoctl/LinkClient.h"

namespace velko::test {
namespace {

using Kind = LinkClient::Answer::Kind;
const std::string pong = R"({"version":"0.1.0","protocolVersion":1,"capabilities":[],"minVelkoVersion":"2.8"})";

struct LinkClientTest : ::testing::Test {
    Log log;
    VirtualClock clock;
    FakeNotificationCenter center{&log};
    LinkClient client{center, clock, clock};
    std::vector<LinkClient::Answer> answers;

    LinkClient::Done record() {
        return [this](const LinkClient::Answer& a) { answers.push_back(a); };
    }
};

TEST_F(LinkClientTest, PingListensBeforePostingAndTakesTheFirstPongOnce) {
    client.ping(2.0, record());
    EXPECT_EQ(log, (Log{"observe velko.helper.pong", "post velko.helper.ping"}));
    EXPECT_EQ(center.posts.back().second, "");

    clock.advance(0.004);
    center.deliver("velko.helper.pong", pong);
    center.deliver("velko.helper.pong", "a second helper");
    clock.advance(5.0);  // the deadline passes after the answer

    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].kind, Kind::pong);
    EXPECT_EQ(answers[0].object, pong);
    EXPECT_NEAR(answers[0].roundTrip, 0.004, 1e-9);
}

TEST_F(LinkClientTest, NoPongMeansNoAnswerExactlyAtTheDeadline) {
    client.ping(1.5, record());
    center.deliver("velko.helper.degraded", "accessibility_revoked");  // not an answer to a ping
    clock.advance(1.499);
    EXPECT_TRUE(answers.empty());
    clock.advance(0.001);
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].kind, Kind::none);
    center.deliver("velko.helper.pong", pong);  // too late
    EXPECT_EQ(answers.size(), 1u);
}

TEST_F(LinkClientTest, PastePostsTheRequestThenAPingAndReadsTheAnswerInOrder) {
    client.paste("velko.paste.plain", 2.0, record());
    EXPECT_EQ(log, (Log{"observe velko.helper.degraded", "observe velko.helper.pong", "post velko.paste.plain",
                        "post velko.helper.ping"}));

    // With input access the pong comes alone.
    center.deliver("velko.helper.pong", pong);
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].kind, Kind::pong);
    // A degraded notice after the answer belongs to someone else's request.
    center.deliver("velko.helper.degraded", "accessibility_revoked");
    EXPECT_EQ(answers.size(), 1u);
}

TEST_F(LinkClientTest, ADegradedNoticeBeforeThePongIsThePastesAnswer) {
    client.paste("velko.paste.now", 2.0, record());
    clock.advance(0.002);
    center.deliver("velko.helper.degraded", "accessibility_revoked");
    EXPECT_TRUE(answers.empty());  // the pong settles it
    center.deliver("velko.helper.pong", pong);
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].kind, Kind::degraded);
    EXPECT_EQ(answers[0].object, "accessibility_revoked");
    EXPECT_NEAR(answers[0].roundTrip, 0.002, 1e-9);
}

TEST_F(LinkClientTest, PasteWithoutThePongStillReportsADegradedNoticeOrNothingAtTheDeadline) {
    LinkClient other{center, clock, clock};
    std::vector<LinkClient::Answer> otherAnswers;
    client.paste("velko.paste.now", 1.0, record());
    center.deliver("velko.helper.degraded", "accessibility_revoked");
    clock.advance(1.0);
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].kind, Kind::degraded);

    other.paste("velko.paste.match", 1.0, [&](const LinkClient::Answer& a) { otherAnswers.push_back(a); });
    clock.advance(1.0);
    ASSERT_EQ(otherAnswers.size(), 1u);
    EXPECT_EQ(otherAnswers[0].kind, Kind::none);
    EXPECT_EQ(answers.size(), 1u);
}

}  // namespace
}  // namespace velko::test
