#include "qt/QtWorkspace.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QFileInfo>
#include <QUrl>

namespace velko {

bool QtWorkspace::openURL(const std::string& url) {
    const QUrl parsed(QString::fromStdString(url), QUrl::StrictMode);
    if (!parsed.isValid()) return false;
    return QDesktopServices::openUrl(parsed);
}

std::string QtWorkspace::accessibilitySettingsAddress() {
    // Linux has no permission pane for input access; a page installed with the helper explains it.
    const QString dir = QCoreApplication::applicationDirPath();
    for (const QString& candidate : {dir + "/../share/velko-helper/input-access.html",
                                     QStringLiteral(VELKO_SOURCE_DIR "/resources/help/input-access.html")}) {
        const QFileInfo info(candidate);
        if (info.isFile()) return QUrl::fromLocalFile(info.canonicalFilePath()).toString().toStdString();
    }
    return "";
}

std::string QtWorkspace::websiteAddress() { return "https://velko.app"; }

std::optional<std::string> QtWorkspace::bundleInfoString(const std::string& key) {
    if (key == "CFBundleShortVersionString") return std::string(VELKO_VERSION);
    return std::nullopt;
}

}  // namespace velko
