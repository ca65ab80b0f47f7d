// The evdev key tap on keyboards the test controls: FIFOs named like event devices in a directory
// of its own, fed struct input_event records as the kernel writes them.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/input.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <map>

#include "evdev/EvdevKeyEventTap.h"
#include "evdev/SessionKeymap.h"
#include "fakes/TempDir.h"
#include "qt/QtMainQueue.h"

namespace velko::test {
namespace {

using Strokes = std::vector<std::optional<std::string>>;

bool isFifo(int fd) {
    struct stat s {};
    return ::fstat(fd, &s) == 0 && S_ISFIFO(s.st_mode);
}

struct EvdevKeyEventTapTest : ::testing::Test {
    TempDir dir{"velko-input"};
    QtMainQueue queue;
    std::vector<KeyEvent> events;
    std::vector<KeyEvent> delivered;       // what strokes() last collected
    std::map<std::string, int> keyboards;  // the writing ends
    std::unique_ptr<EvdevKeyEventTap> tap;

    static void SetUpTestSuite() {
        static int argc = 1;
        static char name[] = "backend_tests";
        static char* argv[] = {name, nullptr};
        if (!QCoreApplication::instance()) new QCoreApplication(argc, argv);  // lives until the process ends
    }
    void TearDown() override {
        tap.reset();
        for (const auto& [name, fd] : keyboards) ::close(fd);
    }

    // A keyboard appears in the directory; the test holds it open for writing.
    int plug(const std::string& name) {
        EXPECT_EQ(::mkfifo((dir / name).c_str(), 0600), 0);
        const int fd = ::open((dir / name).c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
        keyboards[name] = fd;
        return fd;
    }
    // The device goes away while its reader still has it open.
    void unplug(const std::string& name) {
        ::close(keyboards.at(name));
        keyboards.erase(name);
    }
    bool start(const std::string& layout) {
        const auto keymap = SessionKeymap::fromNames({"", "", layout, "", ""});
        std::vector<ShortcutTrigger> hotkeys;
        for (const char* text : {"CTRL+SHIFT+V", "CTRL+SHIFT+space", "CTRL+SHIFT+S"})
            hotkeys.push_back(*ShortcutTrigger::parse(text));
        tap = std::make_unique<EvdevKeyEventTap>(queue, keymap.text, hotkeys,
                                                 EvdevKeyEventTap::Devices{dir.path(), isFifo});
        return tap->start([this](const KeyEvent& e) { events.push_back(e); });
    }

    // One key change as a frame: the scan code, the key, then the report that closes the frame.
    static std::string key(std::uint16_t code, std::int32_t value) {
        input_event e[3]{};
        e[0].type = EV_MSC, e[0].code = MSC_SCAN, e[0].value = code;
        e[1].type = EV_KEY, e[1].code = code, e[1].value = value;
        e[2].type = EV_SYN, e[2].code = SYN_REPORT;
        return std::string(reinterpret_cast<const char*>(e), sizeof e);
    }
    // Presses and releases of each key in turn; negative codes are held (pressed) until the end.
    static std::string tapped(std::initializer_list<int> codes) {
        std::string out, held;
        for (const int code : codes) {
            if (code < 0) {
                out += key(static_cast<std::uint16_t>(-code), 1);
                held = key(static_cast<std::uint16_t>(-code), 0) + held;
            } else {
                out += key(static_cast<std::uint16_t>(code), 1) + key(static_cast<std::uint16_t>(code), 0);
            }
        }
        return out + held;
    }
    static void write(int fd, const std::string& bytes) {
        ASSERT_EQ(::write(fd, bytes.data(), bytes.size()), ssize_t(bytes.size()));
    }

    // What the tap delivered once `count` key-downs arrived, and nothing after them for a moment.
    Strokes strokes(std::size_t count) {
        QElapsedTimer timer;
        timer.start();
        while (events.size() < count && timer.elapsed() < 10000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        timer.restart();
        while (timer.elapsed() < 100) QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        Strokes out;
        for (const auto& e : events) out.push_back(e.characters);
        delivered = std::exchange(events, {});
        return out;
    }
};

TEST_F(EvdevKeyEventTapTest, TypesWithTheSessionsGermanLayoutAndLeavesHotkeysOut) {
    const int keyboard = plug("event3");
    ASSERT_TRUE(start("de"));
    testing::internal::CaptureStderr();

    // y and z swap places on the German layout; AltGr types @ and the euro sign.
    write(keyboard, tapped({KEY_A, KEY_Y, -KEY_LEFTSHIFT, KEY_Z}));
    EXPECT_EQ(strokes(4), (Strokes{"a", "z", std::nullopt, "Y"}));
    EXPECT_EQ(delivered[3].keyCode, 6);  // by position: where Z is on the ANSI keyboard
    EXPECT_EQ(delivered[3].flags, Flags::shift);
    write(keyboard, tapped({-KEY_RIGHTALT, KEY_Q, KEY_E}) + tapped({KEY_BACKSPACE, KEY_ENTER, KEY_LEFT}));
    EXPECT_EQ(strokes(6), (Strokes{std::nullopt, "@", "\xE2\x82\xAC", "\x7f", "\r", "\xEF\x9C\x82"}));

    // A held key repeats; a record split across two writes still counts once.
    write(keyboard, key(KEY_B, 1) + key(KEY_B, 2) + key(KEY_B, 2) + key(KEY_B, 0));
    const std::string c = key(KEY_C, 1);
    write(keyboard, c.substr(0, 20));
    write(keyboard, c.substr(20) + key(KEY_C, 0));
    EXPECT_EQ(strokes(4), (Strokes{"b", "b", "b", "c"}));

    // Ctrl+Shift+V fires a hotkey: it reaches the typing neither as text nor as a clearing key.
    // Ctrl+V alone is an ordinary shortcut and does.
    write(keyboard, tapped({-KEY_LEFTCTRL, -KEY_LEFTSHIFT, KEY_V}) + tapped({-KEY_LEFTCTRL, KEY_V}));
    EXPECT_EQ(strokes(4), (Strokes{std::nullopt, std::nullopt, std::nullopt, "\x16"}));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "nothing typed may reach the log";
}

TEST_F(EvdevKeyEventTapTest, PicksUpKeyboardsPluggedInLaterAndDropsOnesThatVanish) {
    const int first = plug("event0");
    plug("mouse0");  // not an event device
    ASSERT_TRUE(start("us"));
    ASSERT_EQ(::close(::open((dir / "event7").c_str(), O_CREAT | O_WRONLY, 0600)), 0);  // not a keyboard

    // Shift held on one keyboard shifts the letters of another, as in the compositor.
    write(first, key(KEY_LEFTSHIFT, 1));
    const int second = plug("event1");
    write(second, tapped({KEY_B}));
    EXPECT_EQ(strokes(2), (Strokes{std::nullopt, "B"}));

    // The first keyboard vanishes in the middle of a record; the Shift it held goes with it.
    write(first, key(KEY_A, 1).substr(0, 30));
    unplug("event0");
    write(second, tapped({KEY_B}));
    EXPECT_EQ(strokes(1), (Strokes{"b"}));

    // Removed from the directory and plugged in again.
    ::unlink((dir / "event1").c_str());
    unplug("event1");
    const int again = plug("event1");
    write(again, tapped({KEY_C}));
    EXPECT_EQ(strokes(1), (Strokes{"c"}));
}

TEST_F(EvdevKeyEventTapTest, WithoutAReadableKeyboardItDoesNotStart) {
    EXPECT_EQ(EvdevKeyEventTap::readableKeyboards({dir.path(), isFifo}), 0);
    testing::internal::CaptureStderr();
    EXPECT_FALSE(start("us"));
    EXPECT_NE(testing::internal::GetCapturedStderr().find("no keyboard in " + dir.path() + " can be read"),
              std::string::npos);

    // A real keyboard test on a FIFO fails: it answers no evdev ioctl.
    const int fd = plug("event0");
    EXPECT_FALSE(EvdevKeyEventTap::hasLetterKeys(fd));
    EXPECT_EQ(EvdevKeyEventTap::readableKeyboards({dir.path(), isFifo}), 1);
    EXPECT_EQ(EvdevKeyEventTap::readableKeyboards({dir.path() + "/missing", isFifo}), 0);
}

}  // namespace
}  // namespace velko::test
