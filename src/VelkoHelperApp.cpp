// Entry point: pick the backends for this session, build the services, launch, run the loop.
#include <QApplication>
#include <QTimer>
#include <cstdio>
#include <memory>

#include "Core/HelperServices.h"
#include "Core/ScreenshotWatcher.h"
#include "HelperAppDelegate.h"
#include "dbus/HelperStatusService.h"
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

    // Declared before the platform so that the platform's threads end while the services they
    // post to still exist.
    std::unique_ptr<velko::HelperServices> services;
    velko::LinuxPlatform desktop;
    velko::Platform::install(desktop.platform());
    services = std::make_unique<velko::HelperServices>(velko::Platform::current());
    velko::HelperServices::install(*services);
    velko::HelperStatusService status(desktop.backends(), [] { return velko::ScreenshotWatcher::shared().summary(); });
    velko::UnixSignalWatcher unixSignals([](int) { QCoreApplication::quit(); });

    auto delegate = velko::HelperAppDelegate::makeShared();
    QTimer::singleShot(0, [&delegate] { delegate->applicationDidFinishLaunching(); });
    app.exec();
    return 0;
}
