// The list GNOME Settings keeps of custom shortcuts: the person's entries survive adding and
// removing the helper's, and what gsettings prints reads back.
#include "velkoctl/GnomeCustomShortcuts.h"

#include <gtest/gtest.h>

namespace velko::test {
namespace {

using S = GnomeCustomShortcuts;
using Paths = std::vector<std::string>;

const std::string own = "/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/custom0/";

Paths ours() {
    Paths paths;
    for (const auto& entry : S::entries()) paths.emplace_back(entry.path);
    return paths;
}

TEST(GnomeCustomShortcuts, AddingKeepsThePersonsEntriesAndIsIdempotent) {
    const Paths mine{own, "/x/custom1/"};
    const Paths added = S::withEntries(mine);
    Paths expected = mine;
    for (const auto& path : ours()) expected.push_back(path);
    EXPECT_EQ(added, expected);
    EXPECT_EQ(S::withEntries(added), added);
    // One of the three removed by hand in Settings comes back, the others stay where they are.
    const Paths partly{ours()[1], own};
    EXPECT_EQ(S::withEntries(partly), (Paths{ours()[1], own, ours()[0], ours()[2]}));
    EXPECT_EQ(S::withoutEntries(S::withEntries(partly)), (Paths{own}));
    EXPECT_EQ(S::withoutEntries(mine), mine);
}

TEST(GnomeCustomShortcuts, ListsReadAsGsettingsPrintsThemAndOddOnesAreRefused) {
    EXPECT_EQ(*S::parseList("@as []\n"), Paths{});
    EXPECT_EQ(*S::parseList("['/a/', \"/b/\"]\n"), (Paths{"/a/", "/b/"}));
    const Paths both{own, ours()[0]};
    EXPECT_EQ(*S::parseList(S::printList(both)), both);
    EXPECT_EQ(S::printList({}), "@as []");
    for (const char* odd : {"", "['/a/'", "['/a/' '/b/']", "['/a\\'b/']", "[1]", "'/a/'"})
        EXPECT_FALSE(S::parseList(odd)) << odd;
    EXPECT_EQ(S::quoted("it's a\\b"), "'it\\'s a\\\\b'");
    EXPECT_EQ(S::command("/usr/bin/velkoctl", "save_snippet"), "/usr/bin/velkoctl hotkey save_snippet");
    EXPECT_EQ(S::command("/home/a b/it's/velkoctl", "x"), "'/home/a b/it'\\''s/velkoctl' hotkey x");
}

}  // namespace
}  // namespace velko::test
