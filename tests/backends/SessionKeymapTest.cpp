// Where the evdev tap's keymap comes from, and what the desktop's hotkey triggers match.
#include <gtest/gtest.h>
#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include <optional>
#include <vector>

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
    struct Case {
        const char* layoutVariable;
        std::optional<std::string> gnome, plasma;
        std::string source, typedAtY;
    };
    const std::string gnome = "[('ibus', 'anthy'), ('xkb', 'de+nodeadkeys'), ('xkb', 'us')]";
    const std::string plasma = "[Layout]\nLayoutList=fr\nUse=true\n";
    for (const auto& c : std::vector<Case>{
             {"de", gnome, plasma, "XKB_DEFAULT_* (layout de)", "z"},
             {nullptr, gnome, plasma, "GNOME's input sources (layout de,us, variant nodeadkeys,)", "z"},
             {nullptr, "@a(ss) []", plasma, "Plasma's keyboard settings (layout fr)", "y"},
             // Plasma leaves the layout alone.
             {nullptr, "@a(ss) []", "[Layout]\nLayoutList=de\nUse=false\n", "xkbcommon's default (layout us)", "y"},
             // A name xkeyboard-config does not know makes no keymap rather than a wrong one.
             {"no-such-layout", std::nullopt, std::nullopt, "XKB_DEFAULT_* (layout no-such-layout)", "(none)"}}) {
        const auto found = SessionKeymap::find(
            [&](const char* name) { return std::string(name) == "XKB_DEFAULT_LAYOUT" ? c.layoutVariable : nullptr; },
            [&] { return c.gnome; }, [&] { return c.plasma; });
        EXPECT_EQ(found.source, c.source);
        EXPECT_EQ(yPosition(found), c.typedAtY) << c.source;
    }
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
