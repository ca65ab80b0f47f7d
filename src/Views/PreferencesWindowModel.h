#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Views/NamedColors.h"
#include "platform/BackendChoice.h"

namespace velko {

// Frames are in points, measured from the top-left corner of the containing view.
struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    bool operator==(const Rect&) const = default;
};

enum class FontWeight { regular, medium, semibold };

struct Font {
    double size = 13;
    FontWeight weight = FontWeight::regular;
    bool operator==(const Font&) const = default;
};

enum class TextAlignment { natural, center, right };

struct Label {
    std::string text;
    Rect frame;
    Font font;
    NamedColor color = NamedColor::labelColor;
    TextAlignment alignment = TextAlignment::natural;
    bool wraps = false;  // at word boundaries within the frame's width
    bool operator==(const Label&) const = default;
};

// A symbol image drawn at a point size and weight, tinted with one colour.
struct SymbolImage {
    std::string symbolName;
    Rect frame;
    double pointSize = 14;
    FontWeight weight = FontWeight::medium;
    NamedColor tint = NamedColor::labelColor;
    bool operator==(const SymbolImage&) const = default;
};

// A full-colour image by name, scaled proportionally up or down into its frame.
struct ImageView {
    std::string imageName;
    Rect frame;
    bool operator==(const ImageView&) const = default;
};

// What a button of the window runs; each names an action operation of the application delegate.
enum class ButtonAction { openAccessibility, openWebsite };

enum class BezelStyle { rounded };
enum class ControlSize { regular, small };

struct Button {
    std::string title;
    ButtonAction action = ButtonAction::openWebsite;
    std::optional<Rect> frame;  // none inside a stack, which sizes it
    BezelStyle bezel = BezelStyle::rounded;
    ControlSize controlSize = ControlSize::small;
    bool operator==(const Button&) const = default;
};

class ButtonTarget {
public:
    virtual ~ButtonTarget() = default;
    virtual void perform(ButtonAction action) = 0;
};

// One line of a card; frames are relative to the card.
struct CardRow {
    double top = 0;
    SymbolImage icon;
    Label title;
    Label status;
    std::optional<Button> button;
    bool operator==(const CardRow&) const = default;
};

struct Card {
    Rect frame;
    NamedColor background = NamedColor::controlBackgroundColor;
    NamedColor border = NamedColor::separatorColor;
    double cornerRadius = 10;
    double borderWidth = 0.5;
    std::vector<CardRow> rows;
    bool operator==(const Card&) const = default;
};

// Buttons side by side from the leading edge, at their natural size.
struct ButtonRow {
    Rect frame;
    double spacing = 8;
    std::vector<Button> buttons;
    bool operator==(const ButtonRow&) const = default;
};

struct WindowAttributes {
    std::string title;
    double contentWidth = 0;
    double contentHeight = 0;
    bool closable = true;
    bool resizable = false;
    bool miniaturizable = false;
    bool floating = true;
    NamedColor background = NamedColor::windowBackgroundColor;
    bool verticalScroller = true;
    double documentWidth = 0;
    double documentHeight = 0;
    bool operator==(const WindowAttributes&) const = default;
};

// The read-only status panel: a snapshot of the helper's state when it was built.
struct PreferencesWindowModel {
    struct Feature {
        std::string title;
        std::string symbolName;
        bool active = false;
        std::string note = {};  // under the line while it is off: why
    };
    struct Inputs {
        std::optional<std::string> bundleVersion;  // none or not a string: the fallback version
        bool accessibilityGranted = false;
        bool mainApplicationPresent = false;
        std::vector<Feature> features;
        std::int64_t ruleCount = 0;
        BackendChoices backends;  // one row each, under the buttons
    };

    WindowAttributes window;
    ImageView appIcon;
    Label title;
    Label version;
    Card statusCard;
    Card featuresCard;
    ButtonRow buttonRow;
    // How each capability is done in this session; empty when nothing was chosen.
    Card backendsCard;

    // Text expansion, global hotkeys, screenshot watch: the features the window reports, in order;
    // screenshotNote says why screenshots are not picked up.
    static std::vector<Feature> features(bool textExpansion, bool globalHotkeys, bool screenshotWatch,
                                         const std::string& screenshotNote = {});
    static PreferencesWindowModel build(const Inputs& inputs);

    bool operator==(const PreferencesWindowModel&) const = default;
};

}  // namespace velko
