// Where the evdev tap's keymap comes from, and what the desktop's hotkey triggers match.
#include <gtest/gtest.h>
#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include <map>

#include "PrivateDisplay.h"
#include "evdev/EvdevKeyTranslator.h"
#include "evdev/SessionKeymap.h"

namespace velko::test {
namespace {

// What the key at the position of the US Y types under a keymap: "z" on German layouts.
std::string yPosition(const SessionKeymap::Found& keymap) {
    EvdevKeyTranslator translator(keymap.text);
    const auto event = translator.key(0, KEY_Y, 1);
    return event && event->characters ? *event->characters : "(none)";
}

TEST(SessionKeymap, TakesTheVariablesThenGnomeThenPlasmaThenTheDefault) {
    std::map<std::string, std::string> variables;
    std::optional<std::string> gnome, plasma;
    const auto find = [&] {
        return SessionKeymap::find(
            [&](const char* name) { return variables.count(name) ? variables.at(name).c_str() : nullptr; },
            [&] { return gnome; }, [&] { return plasma; });
    };
    gnome = "[('ibus', 'anthy'), ('xkb', 'de+nodeadkeys'), ('xkb', 'us')]";
    plasma = "[Layout]\nLayoutList=fr\nUse=true\n";
    variables["XKB_DEFAULT_LAYOUT"] = "de";
    auto found = find();
    EXPECT_EQ(found.source, "XKB_DEFAULT_* (layout de)");
    EXPECT_EQ(yPosition(found), "z");

    variables.clear();
    found = find();
    EXPECT_EQ(found.source, "GNOME's input sources (layout de,us, variant nodeadkeys,)");
    EXPECT_EQ(yPosition(found), "z");

    gnome = "@a(ss) []";
    found = find();
    EXPECT_EQ(found.source, "Plasma's keyboard settings (layout fr)");
    EXPECT_EQ(yPosition(found), "y");

    plasma = "[Layout]\nLayoutList=de\nUse=false\n";  // Plasma leaves the layout alone
    found = find();
    EXPECT_EQ(found.source, "xkbcommon's default (layout us)");
    EXPECT_EQ(yPosition(found), "y");

    // A name xkeyboard-config does not know makes no keymap rather than a wrong one.
    variables["XKB_DEFAULT_LAYOUT"] = "no-such-layout";
    EXPECT_FALSE(EvdevKeyTranslator(find().text).valid());
}

TEST(SessionKeymap, PrefersTheKeymapOfTheXServerOnDisplay) {
    if (!PrivateDisplay::ensure()) GTEST_SKIP() << "no Xvfb";
    PrivateDisplay::run("setxkbmap de");
    const auto found = SessionKeymap::find([](const char* name) { return std::getenv(name); }, {}, {});
    EXPECT_EQ(found.source, std::string("the X server's keymap on ") + std::getenv("DISPLAY"));
    EXPECT_EQ(yPosition(found), "z");
    PrivateDisplay::run("setxkbmap us");
}

TEST(ShortcutTrigger, ReadsEachDesktopsWayOfWritingItAndMatchesExactlyItsModifiers) {
    using T = ShortcutTrigger;
    const T ctrlShiftV{XKB_KEY_v, T::control | T::shift};
    EXPECT_EQ(T::parse("CTRL+SHIFT+V"), ctrlShiftV);
    EXPECT_EQ(T::parse("Shift+Ctrl+v"), ctrlShiftV);
    EXPECT_EQ(T::parse("<Control><Shift>v"), ctrlShiftV);
    EXPECT_EQ(T::parse("Ctrl+Shift+Space"), (T{XKB_KEY_space, T::control | T::shift}));
    EXPECT_EQ(T::parse("LOGO+ALT+F1"), (T{XKB_KEY_F1, T::super | T::alt}));
    EXPECT_EQ(T::parse("Ctrl++"), (T{XKB_KEY_plus, T::control}));
    for (const char* unreadable : {"", "Ctrl+", "Hyperdrive+V", "Ctrl+NoSuchKey", "<Control"})
        EXPECT_FALSE(T::parse(unreadable)) << unreadable;

    EXPECT_TRUE(ctrlShiftV.matches(XKB_KEY_V, XKB_KEY_v, T::control | T::shift));
    EXPECT_FALSE(ctrlShiftV.matches(XKB_KEY_v, XKB_KEY_v, T::control));
    EXPECT_FALSE(ctrlShiftV.matches(XKB_KEY_V, XKB_KEY_v, T::control | T::shift | T::alt));
    // Ctrl+Shift+1 types "!" on the way; the key's own symbol still matches.
    EXPECT_TRUE(T::parse("CTRL+SHIFT+1")->matches(XKB_KEY_exclam, XKB_KEY_1, T::control | T::shift));
}

}  // namespace
}  // namespace velko::test
