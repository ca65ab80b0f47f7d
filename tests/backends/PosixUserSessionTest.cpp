#include "xkb/KeyCharacters.h"

#include <gtest/gtest.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include "posix/PosixUserSession.h"

namespace velko::test {
namespace {

const std::string f700 = "\xEF\x9C\x80";

TEST(PosixUserSession, PosixLocaleNamesBecomeICUNames) {
    EXPECT_EQ(PosixUserSession::icuLocale("de_DE.UTF-8"), "de_DE");
    EXPECT_EQ(PosixUserSession::icuLocale("en_GB"), "en_GB");
    EXPECT_EQ(PosixUserSession::icuLocale("C.UTF-8"), "");
    EXPECT_EQ(PosixUserSession::icuLocale("POSIX"), "");
}

}  // namespace
}  // namespace velko::test
