#include "evdev/SessionKeymap.h"

#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <cstdlib>
#include <memory>
#include <regex>
#include <tuple>

#include "xkb/XkbHandles.h"

namespace velko {
namespace {

// xcb_connect hands back a connection even when it fails, to be checked and then dropped.
using Connection = std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)>;

const char* orNull(const std::string& s) { return s.empty() ? nullptr : s.c_str(); }

std::string describe(const SessionKeymap::Names& n) {
    std::string out = "layout " + (n.layout.empty() ? std::string("us") : n.layout);
    if (!n.variant.empty()) out += ", variant " + n.variant;
    if (!n.options.empty()) out += ", options " + n.options;
    return out;
}

}  // namespace

SessionKeymap::Found SessionKeymap::fromNames(const Names& names) {
    const xkb::Context context(xkb_context_new(XKB_CONTEXT_NO_ENVIRONMENT_NAMES));
    if (!context) return {};
    const xkb_rule_names rules{orNull(names.rules), orNull(names.model), orNull(names.layout), orNull(names.variant),
                               orNull(names.options)};
    const xkb::Keymap keymap(xkb_keymap_new_from_names(context.get(), &rules, XKB_KEYMAP_COMPILE_NO_FLAGS));
    return {xkb::text(keymap.get()), describe(names)};
}

SessionKeymap::Found SessionKeymap::fromXServer(const std::string& display) {
    const Connection connection(xcb_connect(display.c_str(), nullptr), &xcb_disconnect);
    if (xcb_connection_has_error(connection.get())) return {};
    if (!xkb_x11_setup_xkb_extension(connection.get(), XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                                     XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, nullptr, nullptr))
        return {};
    const std::int32_t device = xkb_x11_get_core_keyboard_device_id(connection.get());
    const xkb::Context context(xkb_context_new(XKB_CONTEXT_NO_ENVIRONMENT_NAMES));
    if (device < 0 || !context) return {};
    const xkb::Keymap keymap(
        xkb_x11_keymap_new_from_device(context.get(), connection.get(), device, XKB_KEYMAP_COMPILE_NO_FLAGS));
    return {xkb::text(keymap.get()), "the X server's keymap on " + display};
}

std::optional<SessionKeymap::Names> SessionKeymap::fromGnomeSources(const std::string& gsettingsOutput) {
    static const std::regex source(R"(\(\s*'xkb'\s*,\s*'([^']*)'\s*\))");
    Names names;
    bool any = false;
    for (auto it = std::sregex_iterator(gsettingsOutput.begin(), gsettingsOutput.end(), source);
         it != std::sregex_iterator(); ++it) {
        const std::string id = (*it)[1];
        const auto plus = id.find('+');
        if (any) {
            names.layout += ',';
            names.variant += ',';
        }
        names.layout += id.substr(0, plus);
        if (plus != std::string::npos) names.variant += id.substr(plus + 1);
        any = true;
    }
    if (!any) return std::nullopt;
    if (names.variant.find_first_not_of(',') == std::string::npos) names.variant.clear();
    return names;
}

std::optional<SessionKeymap::Names> SessionKeymap::fromPlasmaSettings(const std::string& kxkbrc) {
    Names names;
    bool inLayout = false, used = true;
    std::size_t start = 0;
    while (start < kxkbrc.size()) {
        auto end = kxkbrc.find('\n', start);
        if (end == std::string::npos) end = kxkbrc.size();
        std::string line = kxkbrc.substr(start, end - start);
        start = end + 1;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (!line.empty() && line.front() == '[') {
            inLayout = line == "[Layout]";
            continue;
        }
        const auto equals = line.find('=');
        if (!inLayout || equals == std::string::npos) continue;
        const std::string key = line.substr(0, equals), value = line.substr(equals + 1);
        if (key == "LayoutList")
            names.layout = value;
        else if (key == "VariantList")
            names.variant = value;
        else if (key == "Options")
            names.options = value;
        else if (key == "Model")
            names.model = value;
        else if (key == "Use")
            used = value == "true";
    }
    // Without Use=true Plasma leaves the layout to the system, whose setting is not this file.
    if (!used || names.layout.empty()) return std::nullopt;
    if (names.variant.find_first_not_of(',') == std::string::npos) names.variant.clear();
    return names;
}

SessionKeymap::Found SessionKeymap::find(const Environment& environment, const SettingReader& gnomeSources,
                                         const SettingReader& plasmaLayouts) {
    const auto value = [&](const char* name) -> std::string {
        const char* v = environment(name);
        return v ? v : "";
    };
    if (const std::string display = value("DISPLAY"); !display.empty())
        if (Found x = fromXServer(display); !x.text.empty()) return x;

    const Names fromEnvironment{value("XKB_DEFAULT_RULES"), value("XKB_DEFAULT_MODEL"), value("XKB_DEFAULT_LAYOUT"),
                                value("XKB_DEFAULT_VARIANT"), value("XKB_DEFAULT_OPTIONS")};
    if (fromEnvironment != Names{}) {
        Found f = fromNames(fromEnvironment);
        f.source = "XKB_DEFAULT_* (" + f.source + ")";
        return f;
    }
    for (const auto& [reader, parse, desktop] :
         {std::tuple{gnomeSources, &fromGnomeSources, "GNOME's input sources"},
          std::tuple{plasmaLayouts, &fromPlasmaSettings, "Plasma's keyboard settings"}}) {
        if (!reader) continue;
        const auto setting = reader();
        if (!setting) continue;
        if (const auto names = parse(*setting)) {
            Found f = fromNames(*names);
            f.source = std::string(desktop) + " (" + f.source + ")";
            return f;
        }
    }
    Found f = fromNames({});
    f.source = "xkbcommon's default (" + f.source + ")";
    return f;
}

std::optional<std::string> SessionKeymap::gnomeSources() {
    QProcess gsettings;
    gsettings.start(
        QStringLiteral("gsettings"),
        {QStringLiteral("get"), QStringLiteral("org.gnome.desktop.input-sources"), QStringLiteral("sources")});
    if (!gsettings.waitForFinished(2000) || gsettings.exitStatus() != QProcess::NormalExit ||
        gsettings.exitCode() != 0) {
        gsettings.kill();
        return std::nullopt;
    }
    return gsettings.readAllStandardOutput().toStdString();
}

std::optional<std::string> SessionKeymap::plasmaSettings() {
    const char* configHome = std::getenv("XDG_CONFIG_HOME");
    const QString dir = configHome && *configHome ? QString::fromLocal8Bit(configHome) : QDir::homePath() + "/.config";
    QFile file(dir + "/kxkbrc");
    if (!file.open(QIODevice::ReadOnly)) return std::nullopt;
    return file.readAll().toStdString();
}

}  // namespace velko
