#include "posix/PosixUserSession.h"

#include <gtest/gtest.h>

namespace velko::test {
namespace {

TEST(PosixUserSession, PosixLocaleNamesBecomeICUNames) {
    EXPECT_EQ(PosixUserSession::icuLocale("de_DE.UTF-8"), "de_DE");
    EXPECT_EQ(PosixUserSession::icuLocale("en_GB"), "en_GB");
    EXPECT_EQ(PosixUserSession::icuLocale("C.UTF-8"), "");
    EXPECT_EQ(PosixUserSession::icuLocale("POSIX"), "");
}

}  // namespace
}  // namespace velko::test
