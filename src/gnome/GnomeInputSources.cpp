#include "gnome/GnomeInputSources.h"

#include <algorithm>
#include <regex>
#include <sstream>
#include <utility>
#include <vector>

namespace velko {
namespace {

const QString settingsDirectory = QStringLiteral("/org/gnome/desktop/input-sources/");
const QString writerPath = QStringLiteral("/ca/desrt/dconf/Writer/user");
const QString writerInterface = QStringLiteral("ca.desrt.dconf.Writer");

using Sources = std::vector<std::pair<std::string, std::string>>;

// (type, id) of each source, in order.
Sources sourcesIn(const std::string& text) {
    static const std::regex source(R"(\(\s*'([^']*)'\s*,\s*'([^']*)'\s*\))");
    Sources found;
    for (auto it = std::sregex_iterator(text.begin(), text.end(), source); it != std::sregex_iterator(); ++it)
        found.emplace_back((*it)[1], (*it)[2]);
    return found;
}

}  // namespace

GnomeInputSources::GnomeInputSources(QDBusConnection bus, std::string sources, Changed changed, Replaced replaced,
                                     QObject* parent)
    : QObject(parent),
      bus_(std::move(bus)),
      sources_(std::move(sources)),
      changed_(std::move(changed)),
      replaced_(std::move(replaced)) {
    connect(&gsettings_, &QProcess::finished, this, [this](int code, QProcess::ExitStatus status) {
        if (status == QProcess::NormalExit && code == 0) readDone(gsettings_.readAllStandardOutput().toStdString());
        if (std::exchange(again_, false)) read();
    });
}

GnomeInputSources::~GnomeInputSources() {
    disconnect(&gsettings_, nullptr, this, nullptr);
    if (gsettings_.state() == QProcess::NotRunning) return;
    gsettings_.kill();
    gsettings_.waitForFinished(1000);
}

void GnomeInputSources::start() {
    // From any sender: dconf's writer service runs under a name of its own, started on demand.
    bus_.connect(QString(), writerPath, writerInterface, QStringLiteral("Notify"), this,
                 SLOT(onNotify(QString, QStringList, QString)));
    read();
}

void GnomeInputSources::moveTo(QDBusConnection bus) {
    bus_.disconnect(QString(), writerPath, writerInterface, QStringLiteral("Notify"), this,
                    SLOT(onNotify(QString, QStringList, QString)));
    bus_ = std::move(bus);
    start();
}

std::optional<std::uint32_t> GnomeInputSources::activeLayout(const std::string& sources, const std::string& mru) {
    const auto recent = sourcesIn(mru);
    if (recent.empty() || recent.front().first != "xkb") return std::nullopt;
    std::uint32_t index = 0;
    for (const auto& [type, id] : sourcesIn(sources)) {
        if (type != "xkb") continue;
        if (id == recent.front().second) return index;
        ++index;
    }
    return std::nullopt;
}

// A change under the input sources' directory, or of a directory holding it (a reset of them all).
void GnomeInputSources::onNotify(const QString& prefix, const QStringList& keys, const QString&) {
    const bool touches = std::any_of(keys.begin(), keys.end(), [&](const QString& key) {
        const QString path = prefix + key;
        return path.startsWith(settingsDirectory) || settingsDirectory.startsWith(path);
    });
    if (touches || (keys.isEmpty() && settingsDirectory.startsWith(prefix))) read();
}

// `gsettings list-recursively` of the schema: one "schema key value" line per key.
void GnomeInputSources::readDone(const std::string& output) {
    std::optional<std::string> sources, mru;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        std::string schema, key, value;
        fields >> schema >> key;
        std::getline(fields >> std::ws, value);
        if (key == "sources") sources = value;
        if (key == "mru-sources") mru = value;
    }
    if (!mru) return;
    // A list written again unchanged is no new keymap; one without an xkb source makes none, so
    // the keymap in use stays.
    const auto isXkb = [](const auto& source) { return source.first == "xkb"; };
    const Sources listed = sources ? sourcesIn(*sources) : Sources{};
    if (std::any_of(listed.begin(), listed.end(), isXkb) && listed != sourcesIn(sources_)) {
        sources_ = *sources;
        if (replaced_) replaced_(sources_);
    }
    const auto layout = activeLayout(sources_, *mru);
    if (layout && layout != layout_) {
        layout_ = layout;
        changed_(*layout);
    }
}

void GnomeInputSources::read() {
    if (gsettings_.state() != QProcess::NotRunning) {
        again_ = true;
        return;
    }
    // Both keys in one answer, so a switch is never read against the list before it.
    gsettings_.start(QStringLiteral("gsettings"),
                     {QStringLiteral("list-recursively"), QStringLiteral("org.gnome.desktop.input-sources")});
}

}  // namespace velko
