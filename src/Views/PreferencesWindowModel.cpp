#include "Views/PreferencesWindowModel.h"

#include "Core/HelperConstants.h"

namespace velko {

namespace {
constexpr double windowWidth = 380;
constexpr double windowHeight = 460;
constexpr double margin = 16;
constexpr double cardWidth = windowWidth - 2 * margin;
constexpr double firstRowTop = 10;
constexpr double rowPitch = 28;
constexpr double cardBottomPadding = 10;
constexpr double gap = 12;

CardRow row(double top, std::string symbol, NamedColor iconColor, std::string title, std::string status,
            NamedColor statusColor) {
    CardRow r;
    r.top = top;
    r.icon = SymbolImage{std::move(symbol), {14, top + 2, 20, 20}, 14, FontWeight::medium, iconColor};
    r.title = Label{std::move(title),
                    {42, top + 3, 180, 18},
                    {12, FontWeight::regular},
                    NamedColor::labelColor,
                    TextAlignment::natural};
    r.status =
        Label{std::move(status), {208, top + 3, 120, 18}, {11, FontWeight::medium}, statusColor, TextAlignment::right};
    return r;
}

// A card's height follows its last row; the top padding is the first row's offset.
Card card(double y, std::vector<CardRow> rows) {
    Card c;
    const double lastTop = rows.empty() ? firstRowTop - rowPitch : rows.back().top;
    c.frame = {margin, y, cardWidth, lastTop + rowPitch + cardBottomPadding};
    c.rows = std::move(rows);
    return c;
}

Card makeStatusCard(bool granted, bool present) {
    std::vector<CardRow> rows;
    if (granted) {
        rows.push_back(row(firstRowTop, "checkmark.shield.fill", NamedColor::systemGreenColor, "Accessibility",
                           "Granted", NamedColor::systemGreenColor));
    } else {
        auto r = row(firstRowTop, "exclamationmark.shield.fill", NamedColor::systemOrangeColor, "Accessibility",
                     "Not granted", NamedColor::systemOrangeColor);
        r.button = Button{"Grant Access...", ButtonAction::openAccessibility, Rect{228, 34, 108, 22},
                          BezelStyle::rounded, ControlSize::small};
        rows.push_back(std::move(r));
    }
    // The button sits under the first row, so the second row moves down to make room for it.
    const double second = granted ? firstRowTop + rowPitch : 64;
    if (present)
        rows.push_back(row(second, "link.circle.fill", NamedColor::systemGreenColor, "Velko App", "Connected",
                           NamedColor::systemGreenColor));
    else
        rows.push_back(row(second, "link.circle", NamedColor::secondaryLabelColor, "Velko App", "Not detected",
                           NamedColor::tertiaryLabelColor));
    return card(134, std::move(rows));
}

Card makeFeaturesCard(double y, const std::vector<PreferencesWindowModel::Feature>& features, std::int64_t ruleCount) {
    std::vector<CardRow> rows;
    double top = firstRowTop;
    for (const auto& feature : features) {
        const NamedColor color = feature.active ? NamedColor::systemBlueColor : NamedColor::tertiaryLabelColor;
        rows.push_back(row(top, feature.symbolName, color, feature.title, feature.active ? "Active" : "Off", color));
        top += rowPitch;
        if (feature.note.empty()) continue;
        // Under the title, wrapped; the height allows for about 48 characters a line.
        CardRow note;
        note.top = top - 8;
        const double lines = static_cast<double>(feature.note.size() / 48 + 1);
        note.title = Label{feature.note,
                           {42, note.top, cardWidth - 56, lines * 14},
                           {11, FontWeight::regular},
                           NamedColor::secondaryLabelColor,
                           TextAlignment::natural,
                           true};
        rows.push_back(std::move(note));
        top += lines * 14 - 6;
    }
    rows.push_back(row(top, "gearshape.2.fill", NamedColor::secondaryLabelColor, "Auto-Paste Rules",
                       std::to_string(ruleCount) + " configured", NamedColor::secondaryLabelColor));
    return card(y, std::move(rows));
}
// Backend names run longer than a status word, so these rows give the status most of the width.
Card makeBackendsCard(double y, const BackendChoices& backends) {
    constexpr double pitch = 22;
    std::vector<CardRow> rows;
    double top = firstRowTop;
    for (const auto& choice : backends) {
        CardRow r;
        r.top = top;
        r.title = Label{choice.capability,
                        {14, top, 110, 18},
                        {11, FontWeight::regular},
                        NamedColor::secondaryLabelColor,
                        TextAlignment::natural};
        const NamedColor color = choice.backend == "off" ? NamedColor::tertiaryLabelColor : NamedColor::labelColor;
        // About 32 characters fit beside the capability; a longer name (an engine and its
        // languages) gets the card's width on the line under it.
        const bool own = choice.backend.size() > 32;
        if (own) top += pitch - 4;
        r.status = Label{choice.backend,
                         own ? Rect{14, top, cardWidth - 28, 18} : Rect{124, top, 210, 18},
                         {11, FontWeight::medium},
                         color,
                         own ? TextAlignment::natural : TextAlignment::right};
        rows.push_back(std::move(r));
        top += pitch;
        if (choice.note.empty()) continue;
        // Under its capability, across the card; the height allows for about 56 characters a line.
        CardRow note;
        note.top = top;
        double lines = 0;
        for (std::size_t begin = 0; begin <= choice.note.size();) {
            const std::size_t end = std::min(choice.note.find('\n', begin), choice.note.size());
            lines += static_cast<double>((end - begin) / 56 + 1);
            begin = end + 1;
        }
        note.title = Label{choice.note,
                           {14, top, cardWidth - 28, lines * 14},
                           {11, FontWeight::regular},
                           NamedColor::secondaryLabelColor,
                           TextAlignment::natural,
                           true};
        rows.push_back(std::move(note));
        top += lines * 14 + pitch - 18;
    }
    Card c;
    c.frame = {margin, y, cardWidth, top + cardBottomPadding - (pitch - 18)};
    c.rows = std::move(rows);
    return c;
}
}  // namespace

std::vector<PreferencesWindowModel::Feature> PreferencesWindowModel::features(bool textExpansion, bool globalHotkeys,
                                                                              bool screenshotWatch,
                                                                              const std::string& screenshotNote) {
    return {
        {"Text Expansion", "character.cursor.ibeam", textExpansion},
        {"Global Hotkeys", "command.square.fill", globalHotkeys},
        {"Screenshot Watch", "camera.viewfinder", screenshotWatch, screenshotWatch ? "" : screenshotNote},
    };
}

PreferencesWindowModel PreferencesWindowModel::build(const Inputs& inputs) {
    PreferencesWindowModel m;
    m.window.title = "Velko Helper";
    m.window.contentWidth = windowWidth;
    m.window.contentHeight = windowHeight;
    m.window.documentWidth = windowWidth;

    m.appIcon = ImageView{"AppIcon", {158, 12, 64, 64}};
    m.title = Label{"Velko Helper",
                    {margin, 84, cardWidth, 22},
                    {16, FontWeight::semibold},
                    NamedColor::labelColor,
                    TextAlignment::center};
    m.version = Label{"Version " + inputs.bundleVersion.value_or(HelperConstants::fallbackVersion),
                      {margin, 106, cardWidth, 16},
                      {11, FontWeight::regular},
                      NamedColor::secondaryLabelColor,
                      TextAlignment::center};

    m.statusCard = makeStatusCard(inputs.accessibilityGranted, inputs.mainApplicationPresent);
    const double featuresTop = m.statusCard.frame.y + m.statusCard.frame.height + gap;
    m.featuresCard = makeFeaturesCard(featuresTop, inputs.features, inputs.ruleCount);
    const double buttonsTop = featuresTop + m.featuresCard.frame.height + gap;
    m.buttonRow.frame = {margin, buttonsTop, cardWidth, 28};
    m.buttonRow.buttons = {
        Button{"Website", ButtonAction::openWebsite, std::nullopt, BezelStyle::rounded, ControlSize::small},
        Button{"System Permissions", ButtonAction::openAccessibility, std::nullopt, BezelStyle::rounded,
               ControlSize::small},
    };
    m.window.documentHeight = buttonsTop + 60;
    if (!inputs.backends.empty()) {
        m.backendsCard = makeBackendsCard(buttonsTop + m.buttonRow.frame.height + gap, inputs.backends);
        m.window.documentHeight = m.backendsCard.frame.y + m.backendsCard.frame.height + margin;
    }
    return m;
}

}  // namespace velko
