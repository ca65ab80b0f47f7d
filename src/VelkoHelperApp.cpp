// Entry point: pick the backends for this session, build the services, launch, run the loop.
#include <QApplication>
#include <QEventLoop>
#include <QTimer>
#include <cstdio>
#include <memory>

#include "Core/HelperServices.h"
#include "Core/TextExpansionEngine.h"
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
    velko::HelperStatusService status(desktop.backends());
    velko::UnixSignalWatcher unixSignals([](int) { QCoreApplication::quit(); });

    auto delegate = velko::HelperAppDelegate::makeShared();
    QTimer::singleShot(0, [&delegate] { delegate->applicationDidFinishLaunching(); });
    app.exec();

    // Ended mid-expansion (a signal, Quit, logout): the borrowed clipboard goes back first, so
    // that what Qt hands to a clipboard manager as the QApplication ends is the person's own.
    QEventLoop restoring;
    velko::TextExpansionEngine::shared().whenIdle(
        [&restoring] { QTimer::singleShot(0, &restoring, &QEventLoop::quit); });
    QTimer::singleShot(3000, &restoring, &QEventLoop::quit);
    restoring.exec();
    return 0;
}
