#include <gtest/gtest.h>

#include <string>

#include "Views/PreferencesWindowModel.h"

namespace velko::test {
namespace {

using Model = PreferencesWindowModel;

Model::Inputs inputs(bool granted, bool present = true, std::int64_t rules = 3) {
    Model::Inputs in;
    in.bundleVersion = "2.4.1";
    in.accessibilityGranted = granted;
    in.mainApplicationPresent = present;
    in.features = Model::features(granted, granted, true);
    in.ruleCount = rules;
    return in;
}

std::vector<double> rowTops(const Card& card) {
    std::vector<double> tops;
    for (const auto& row : card.rows) tops.push_back(row.top);
    return tops;
}

TEST(PreferencesWindowLayout, TrustedAndUntrustedPositions) {
    struct Expected {
        bool granted;
        double statusHeight, featuresTop, buttonsTop, documentHeight, secondRowTop;
    };
    for (const auto& e : {Expected{true, 76, 222, 366, 426, 38}, Expected{false, 102, 248, 392, 452, 64}}) {
        SCOPED_TRACE(e.granted ? "granted" : "not granted");
        const auto m = Model::build(inputs(e.granted));
        EXPECT_EQ(m.statusCard.frame, (Rect{16, 134, 348, e.statusHeight}));
        EXPECT_EQ(rowTops(m.statusCard), (std::vector<double>{10, e.secondRowTop}));
        EXPECT_EQ(m.featuresCard.frame, (Rect{16, e.featuresTop, 348, 132}));
        EXPECT_EQ(rowTops(m.featuresCard), (std::vector<double>{10, 38, 66, 94}));
        EXPECT_EQ(m.buttonRow.frame, (Rect{16, e.buttonsTop, 348, 28}));
        EXPECT_EQ(m.window.documentHeight, e.documentHeight);
        // Both fit the visible height, so there is nothing to scroll.
        EXPECT_LE(m.window.documentHeight, m.window.contentHeight);

        const auto& access = m.statusCard.rows[0];
        if (e.granted) {
            EXPECT_FALSE(access.button.has_value());
        } else {
            ASSERT_TRUE(access.button.has_value());
            EXPECT_EQ(*access.button, (Button{"Grant Access...", ButtonAction::openAccessibility,
                                              Rect{228, 34, 108, 22}, BezelStyle::rounded, ControlSize::small}));
            // The button lies between the two rows and inside the card.
            EXPECT_GE(access.button->frame->y, access.status.frame.y + access.status.frame.height);
            EXPECT_LE(access.button->frame->y + access.button->frame->height, m.statusCard.rows[1].top);
        }
    }
}

TEST(PreferencesWindowContent, StatusCardSaysWhatItFound) {
    struct Case {
        bool granted, present;
        std::string accessSymbol, accessStatus;
        NamedColor accessColor;
        std::string linkSymbol, linkStatus;
        NamedColor linkIcon, linkStatusColor;
    };
    const Case cases[] = {
        {true, true, "checkmark.shield.fill", "Granted", NamedColor::systemGreenColor, "link.circle.fill", "Connected",
         NamedColor::systemGreenColor, NamedColor::systemGreenColor},
        {false, false, "exclamationmark.shield.fill", "Not granted", NamedColor::systemOrangeColor, "link.circle",
         "Not detected", NamedColor::secondaryLabelColor, NamedColor::tertiaryLabelColor},
    };
    for (const auto& c : cases) {
        const auto m = Model::build(inputs(c.granted, c.present));
        const auto& access = m.statusCard.rows[0];
        EXPECT_EQ(access.icon.symbolName, c.accessSymbol);
        EXPECT_EQ(access.icon.tint, c.accessColor);
        EXPECT_EQ(access.title.text, "Accessibility");
        EXPECT_EQ(access.status.text, c.accessStatus);
        EXPECT_EQ(access.status.color, c.accessColor);
        const auto& link = m.statusCard.rows[1];
        EXPECT_EQ(link.icon.symbolName, c.linkSymbol);
        EXPECT_EQ(link.icon.tint, c.linkIcon);
        EXPECT_EQ(link.title.text, "Velko App");
        EXPECT_EQ(link.status.text, c.linkStatus);
        EXPECT_EQ(link.status.color, c.linkStatusColor);
    }
}

TEST(PreferencesWindowContent, FeaturesAndRules) {
    auto in = inputs(true, true, 0);
    in.features = Model::features(true, false, true);
    const auto m = Model::build(in);
    const auto& rows = m.featuresCard.rows;
    ASSERT_EQ(rows.size(), 4u);
    EXPECT_EQ(rows[0].title.text, "Text Expansion");
    EXPECT_EQ(rows[0].icon.symbolName, "character.cursor.ibeam");
    EXPECT_EQ(rows[1].title.text, "Global Hotkeys");
    EXPECT_EQ(rows[1].icon.symbolName, "command.square.fill");
    EXPECT_EQ(rows[2].title.text, "Screenshot Watch");
    EXPECT_EQ(rows[2].icon.symbolName, "camera.viewfinder");
    for (int i : {0, 2}) {
        EXPECT_EQ(rows[i].status.text, "Active");
        EXPECT_EQ(rows[i].status.color, NamedColor::systemBlueColor);
        EXPECT_EQ(rows[i].icon.tint, NamedColor::systemBlueColor);
    }
    // A feature that is off says so in the tertiary colour, although access is granted.
    EXPECT_EQ(rows[1].status.text, "Off");
    EXPECT_EQ(rows[1].status.color, NamedColor::tertiaryLabelColor);
    EXPECT_EQ(rows[1].icon.tint, NamedColor::tertiaryLabelColor);

    EXPECT_EQ(rows[3].title.text, "Auto-Paste Rules");
    EXPECT_EQ(rows[3].icon.symbolName, "gearshape.2.fill");
    EXPECT_EQ(rows[3].icon.tint, NamedColor::secondaryLabelColor);
    EXPECT_EQ(rows[3].status.text, "0 configured");
    EXPECT_EQ(rows[3].status.color, NamedColor::secondaryLabelColor);
    in.ruleCount = 3;
    EXPECT_EQ(Model::build(in).featuresCard.rows[3].status.text, "3 configured");
    in.ruleCount = 1234;
    EXPECT_EQ(Model::build(in).featuresCard.rows[3].status.text, "1234 configured");
}

TEST(PreferencesWindowContent, VersionFallsBackWhenTheBundleHasNone) {
    auto in = inputs(true);
    in.bundleVersion = std::nullopt;
    EXPECT_EQ(Model::build(in).version.text, "Version 1.0.0");
    in.bundleVersion = "3.0";
    EXPECT_EQ(Model::build(in).version.text, "Version 3.0");
}

}  // namespace
}  // namespace velko::test
