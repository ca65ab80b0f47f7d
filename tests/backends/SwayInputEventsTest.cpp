#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "sway/SwayInputEvents.h"

namespace velko {
namespace {

std::string frame(std::uint32_t type, const std::string& payload) {
    std::string out = "i3-ipc";
    const auto length = static_cast<std::uint32_t>(payload.size());
    out.append(reinterpret_cast<const char*>(&length), sizeof length);
    out.append(reinterpret_cast<const char*>(&type), sizeof type);
    return out + payload;
}

TEST(SwayInputEventsTest, MessagesSplitAcrossReadsComeOutWholeAndInOrder) {
    const std::string stream = frame(2, R"j({"success": true})j") + frame(0x80000015, R"j({"change": "added"})j");
    std::string buffer;
    std::vector<SwayInputEvents::Message> got;
    // Byte by byte, as a socket may hand them over.
    for (const char byte : stream) {
        buffer += byte;
        for (auto& message : SwayInputEvents::take(buffer)) got.push_back(message);
    }
    ASSERT_EQ(2u, got.size());
    EXPECT_EQ(2u, got[0].type);
    EXPECT_EQ(R"j({"success": true})j", got[0].payload);
    EXPECT_EQ(0x80000015u, got[1].type);
    EXPECT_TRUE(buffer.empty());
}

TEST(SwayInputEventsTest, OnlyKeymapChangesAreTold) {
    SwayInputEvents::KeymapChange change;
    ASSERT_TRUE(SwayInputEvents::keymapChange(
        R"j({"change": "xkb_keymap", "input": {"identifier": "0:0:virtual_keyboard", "xkb_layout_names": ["English (US)", "Russian"]}})j",
        change));
    EXPECT_EQ("0:0:virtual_keyboard", change.identifier);
    EXPECT_EQ((std::vector<std::string>{"English (US)", "Russian"}), change.layoutNames);
    // A removed keyboard's names are null.
    ASSERT_TRUE(SwayInputEvents::keymapChange(
        R"j({"change": "xkb_keymap", "input": {"identifier": "1:1:kbd", "xkb_layout_names": [null]}})j", change));
    EXPECT_EQ(std::vector<std::string>{""}, change.layoutNames);
    EXPECT_FALSE(SwayInputEvents::keymapChange(R"j({"change": "xkb_layout", "input": {}})j", change));
    EXPECT_FALSE(SwayInputEvents::keymapChange(R"j({"change": "xkb_keymap"})j", change));
    EXPECT_FALSE(SwayInputEvents::keymapChange("{not json", change));
}

}  // namespace
}  // namespace velko
