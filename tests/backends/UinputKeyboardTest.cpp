// The uinput keyboard's byte stream, read back through a pipe: these machines have no /dev/uinput.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "evdev/SessionKeymap.h"
#include "fakes/TempDir.h"
#include "uinput/UinputKeyboard.h"

namespace velko {
namespace {

// What the reader of the device gets, one record a string.
std::vector<std::string> readRecords(int fd) {
    std::vector<std::string> out;
    input_event event{};
    while (::read(fd, &event, sizeof event) == sizeof event) {
        if (event.type == EV_SYN && event.code == SYN_REPORT)
            out.push_back("SYN");
        else if (event.type == EV_KEY)
            out.push_back(std::to_string(event.code) + (event.value ? " down" : " up"));
        else
            out.push_back("type " + std::to_string(event.type));
    }
    return out;
}

TEST(UinputKeyboardTest, WritesEachKeyChangeAsItsOwnFrame) {
    int fds[2];
    ASSERT_EQ(::pipe2(fds, O_NONBLOCK), 0);
    UinputKeyboard keyboard{fds[1]};
    const EventFlags match = Flags::command | Flags::shift;
    EXPECT_TRUE(keyboard.postKeyEvent(KeyCodes::v, match, true));
    EXPECT_TRUE(keyboard.postKeyEvent(KeyCodes::v, match, false));
    EXPECT_FALSE(keyboard.postKeyEvent(200, match, true));
    EXPECT_EQ(readRecords(fds[0]), (std::vector<std::string>{"29 down", "SYN", "42 down", "SYN", "47 down", "SYN",
                                                             "47 up", "SYN", "42 up", "SYN", "29 up", "SYN"}));
    ::close(fds[0]);
}

// The compositor reads the device with the person's keymap: on Dvorak, V's position types K.
TEST(UinputKeyboardTest, SendsEachKeyWhereTheSessionKeymapTypesItsCharacter) {
    const auto dvorak = EvdevStroke::compile(SessionKeymap::fromNames({"evdev", "pc105", "us", "dvorak", ""}).text);
    const auto russian = EvdevStroke::compile(SessionKeymap::fromNames({"evdev", "pc105", "ru", "", ""}).text);
    if (!dvorak || !russian) GTEST_SKIP() << "no XKB data installed";
    int fds[2];
    ASSERT_EQ(::pipe2(fds, O_NONBLOCK), 0);
    UinputKeyboard keyboard{fds[1]};
    keyboard.setKeymap(dvorak);
    EXPECT_TRUE(keyboard.postKeyEvent(KeyCodes::v, Flags::command, true));
    keyboard.setKeymap(russian);  // a layout switch while V is down: its key-up goes to the same key
    EXPECT_TRUE(keyboard.postKeyEvent(KeyCodes::v, Flags::command, false));
    EXPECT_TRUE(keyboard.postKeyEvent(KeyCodes::v, 0, true));  // no Latin layout: by position
    EXPECT_TRUE(keyboard.postKeyEvent(KeyCodes::v, 0, false));
    EXPECT_EQ(readRecords(fds[0]), (std::vector<std::string>{"29 down", "SYN", "52 down", "SYN", "52 up", "SYN",
                                                             "29 up", "SYN", "47 down", "SYN", "47 up", "SYN"}));
    ::close(fds[0]);
}

TEST(UinputKeyboardTest, RefusesWhatIsNoDeviceAndReportsAFailedWrite) {
    const auto missing = UinputKeyboard::open("/nonexistent/uinput");
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error(), "/nonexistent/uinput: cannot open for writing: No such file or directory");
    EXPECT_EQ(missing.cause(), ENOENT);
    test::TempDir dir;
    const std::string file = dir / "uinput";
    ::close(::open(file.c_str(), O_CREAT | O_WRONLY, 0600));
    const auto plain = UinputKeyboard::open(file);
    ASSERT_FALSE(plain);
    EXPECT_EQ(plain.error(), file + ": not a uinput device: Inappropriate ioctl for device");

    UinputKeyboard full{::open("/dev/full", O_WRONLY | O_CLOEXEC)};
    EXPECT_FALSE(full.postKeyEvent(KeyCodes::v, Flags::command, true));
}

}  // namespace
}  // namespace velko
