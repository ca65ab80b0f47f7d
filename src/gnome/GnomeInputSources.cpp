#include "gnome/GnomeInputSources.h"

#include <algorithm>
#include <regex>
#include <utility>
#include <vector>

namespace velko {
namespace {

const QString settingsDirectory = QStringLiteral("/org/gnome/desktop/input-sources/");
const QString writerPath = QStringLiteral("/ca/desrt/dconf/Writer/user");
const QString writerInterface = QStringLiteral("ca.desrt.dconf.Writer");

// (type, id) of each source, in order.
std::vector<std::pair<std::string, std::string>> sourcesIn(const std::string& text) {
    static const std::regex source(R"(\(\s*'([^']*)'\s*,\s*'([^']*)'\s*\))");
    std::vector<std::pair<std::string, std::string>> found;
    for (auto it = std::sregex_iterator(text.begin(), text.end(), source); it != std::sregex_iterator(); ++it)
        found.emplace_back((*it)[1], (*it)[2]);
    return found;
}

}  // namespace

GnomeInputSources::GnomeInputSources(QDBusConnection bus, std::string sources, Changed changed, QObject* parent)
    : QObject(parent), bus_(std::move(bus)), sources_(std::move(sources)), changed_(std::move(changed)) {
    connect(&gsettings_, &QProcess::finished, this, [this](int code, QProcess::ExitStatus status) {
        const std::string output = gsettings_.readAllStandardOutput().toStdString();
        if (status == QProcess::NormalExit && code == 0) {
            const auto layout = activeLayout(sources_, output);
            if (layout && layout != layout_) {
                layout_ = layout;
                changed_(*layout);
            }
        }
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

void GnomeInputSources::read() {
    if (gsettings_.state() != QProcess::NotRunning) {
        again_ = true;
        return;
    }
    gsettings_.start(
        QStringLiteral("gsettings"),
        {QStringLiteral("get"), QStringLiteral("org.gnome.desktop.input-sources"), QStringLiteral("mru-sources")});
}

}  // namespace velko
