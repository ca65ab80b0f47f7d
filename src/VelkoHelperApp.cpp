// Entry point: build the Linux platform, launch the delegate, run the loop.
#include <QApplication>
#include <QTimer>
#include <cstdio>

#include "HelperAppDelegate.h"
#include "dbus/SingleInstance.h"
#include "qt/UnixSignalWatcher.h"
#include "session/LinuxPlatform.h"

int main(int argc, char** argv) {
    velko::LinuxPlatform::chooseQtPlatform();
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("velko-helper"));
    QApplication::setQuitOnLastWindowClosed(false);  // an agent: windows come and go, it stays
    if (!velko::SingleInstance::claim()) {
        std::fputs("velko-helper: already running in this session\n", stderr);
        return 0;
    }

    velko::LinuxPlatform desktop;
    velko::Platform::install(desktop.platform());
    velko::UnixSignalWatcher unixSignals([](int) { QCoreApplication::quit(); });

    auto delegate = velko::HelperAppDelegate::makeShared();
    QTimer::singleShot(0, [&delegate] { delegate->applicationDidFinishLaunching(); });
    app.exec();
    return 0;
}
