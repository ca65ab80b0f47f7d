#include "platform/Log.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace velko {
namespace {

// stderr becomes a datagram socket, so every write(2) arrives as one message of its own.
class LogTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends_), 0);
        savedStderr_ = dup(STDERR_FILENO);
        dup2(ends_[0], STDERR_FILENO);
        struct stat status {};
        fstat(STDERR_FILENO, &status);
        stream_ = std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
    }
    void TearDown() override {
        dup2(savedStderr_, STDERR_FILENO);
        close(savedStderr_);
        close(ends_[0]);
        close(ends_[1]);
        unsetenv("JOURNAL_STREAM");
    }
    std::string nextWrite() {
        char buffer[4096];
        const ssize_t length = recv(ends_[1], buffer, sizeof buffer, MSG_DONTWAIT);
        return length < 0 ? "(nothing)" : std::string(buffer, static_cast<size_t>(length));
    }

    int ends_[2] = {-1, -1};
    int savedStderr_ = -1;
    std::string stream_;
};

TEST_F(LogTest, JournalGetsPriorityPrefixOnlyWhenStderrIsTheJournal) {
    setenv("JOURNAL_STREAM", stream_.c_str(), 1);
    log::error("lost %d of %s", 3, "them");
    log::warning("careful");
    log::info("news");
    EXPECT_EQ(nextWrite(), "<3>velko-helper: lost 3 of them\n");
    EXPECT_EQ(nextWrite(), "<4>velko-helper: careful\n");
    EXPECT_EQ(nextWrite(), "<6>velko-helper: news\n");

    // Started by systemd, then redirected elsewhere: another stream's identity.
    setenv("JOURNAL_STREAM", "1:1", 1);
    log::warning("careful");
    unsetenv("JOURNAL_STREAM");
    log::warning("careful");
    EXPECT_EQ(nextWrite(), "velko-helper: careful\n");
    EXPECT_EQ(nextWrite(), "velko-helper: careful\n");
    EXPECT_EQ(nextWrite(), "(nothing)");
}

TEST_F(LogTest, LongLineIsOneWrite) {
    const std::string text(3000, 'x');
    log::info("%s", text.c_str());
    EXPECT_EQ(nextWrite(), "velko-helper: " + text + "\n");
}

}  // namespace
}  // namespace velko
