#include "velkoctl/LinkClient.h"

#include <gtest/gtest.h>

#include <deque>

#include "fakes/FakePlatform.h"
#include "fakes/VirtualClock.h"

namespace velko::test {
namespace {

using Kind = LinkClient::Answer::Kind;
const std::string pong = R"({"version":"0.1.0","protocolVersion":1,"capabilities":[],"minVelkoVersion":"2.8"})";
const std::string pongName = "velko.helper.pong", degradedName = "velko.helper.degraded";

struct LinkClientTest : ::testing::Test {
    Log log;
    VirtualClock clock;
    FakeNotificationCenter center{&log};
    LinkClient client{center, clock, clock};
};

// Listening starts before the post, or a fast helper's answer would be missed.
TEST_F(LinkClientTest, ListensBeforePosting) {
    client.ping(LinkClient::Seconds(1.0), [](const LinkClient::Answer&) {});
    client.paste("velko.paste.plain", LinkClient::Seconds(1.0), [](const LinkClient::Answer&) {});
    EXPECT_EQ(log, (Log{"observe velko.helper.pong", "post velko.helper.ping", "observe velko.helper.degraded",
                        "observe velko.helper.pong", "post velko.paste.plain", "post velko.helper.ping"}));
}

TEST_F(LinkClientTest, EachExchangeIsAnsweredOnceByWhatTheHelperSaysFirstOrByTheDeadline) {
    struct Case {
        std::string request;                                // empty: a ping
        std::vector<std::pair<double, std::string>> heard;  // seconds after the post, and the name heard
        Kind kind;
        double answeredAt;  // also the round trip
    };
    const std::vector<Case> cases{
        // The first pong answers a ping; a degraded notice does not, and a pong after the deadline is too late.
        {"", {{0.004, pongName}, {0.005, pongName}}, Kind::pong, 0.004},
        {"", {{0.5, degradedName}, {1.5, pongName}}, Kind::none, 1.0},
        // A paste's pong alone means it was taken; a degraded notice before it is the answer, after it someone else's.
        {"velko.paste.plain", {{0.003, pongName}, {0.004, degradedName}}, Kind::pong, 0.003},
        {"velko.paste.now", {{0.002, degradedName}, {0.003, pongName}}, Kind::degraded, 0.003},
        // Without the pong the deadline settles it, with the notice if one came.
        {"velko.paste.now", {{0.1, degradedName}}, Kind::degraded, 1.0},
        {"velko.paste.match", {}, Kind::none, 1.0},
    };
    std::deque<std::vector<LinkClient::Answer>> answers;  // outlives every exchange
    for (std::size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(i);
        const Case& c = cases[i];
        auto& got = answers.emplace_back();
        const auto done = [&got](const LinkClient::Answer& a) { got.push_back(a); };
        const double posted = clock.now();
        c.request.empty() ? client.ping(LinkClient::Seconds(1.0), done)
                          : client.paste(c.request, LinkClient::Seconds(1.0), done);
        for (const auto& [at, name] : c.heard) {
            clock.advance(posted + at - clock.now());
            center.deliver(name, name == pongName ? pong : "accessibility_revoked");
        }
        clock.advance(5);
        ASSERT_EQ(got.size(), 1u);
        EXPECT_EQ(got[0].kind, c.kind);
        EXPECT_EQ(got[0].object, c.kind == Kind::pong ? pong : c.kind == Kind::none ? "" : "accessibility_revoked");
        EXPECT_NEAR(got[0].roundTrip.count(), c.answeredAt, 1e-9);
    }
}

}  // namespace
}  // namespace velko::test
