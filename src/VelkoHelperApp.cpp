// Entry point: pick the backends for this session, build the services, launch, run the loop.
#include <sys/prctl.h>

#include <QApplication>
#include <QEventLoop>
#include <QTimer>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include "platform/Log.h"

#include "Core/HelperServices.h"
#include "Core/ScreenshotWatcher.h"
#include "Core/TextExpansionEngine.h"
#include "HelperAppDelegate.h"
#include "dbus/HelperStatusService.h"
#include "dbus/SessionBusProbe.h"
#include "dbus/SingleInstance.h"
#include "qt/UnixSignalWatcher.h"
#include "session/LinuxPlatform.h"

int main(int argc, char** argv) {
    // The helper holds typed keys, passwords among them until a field is known as one: no core
    // file of it, whatever the core pattern, and no reading its memory through /proc or ptrace by
    // the user's other programs.
    if (::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0) != 0) velko::log::warning("core dumps stay on: %m");
    // First of all: the display and the bus may both keep a second helper waiting.
    std::optional<velko::InstanceLock> instance;
    if (!velko::SingleInstance::lock(instance)) return 0;
    velko::LinuxPlatform::chooseQtPlatform();
    velko::SessionBusProbe::keepOutIfSilent(std::chrono::seconds(5));
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("velko-helper"));
    QApplication::setQuitOnLastWindowClosed(false);  // an agent: windows come and go, it stays

    // Declared before the platform so that the platform's threads end while the services they
    // post to still exist.
    std::unique_ptr<velko::HelperServices> services;
    velko::LinuxPlatform desktop;
    velko::Platform::install(desktop.platform());
    services = std::make_unique<velko::HelperServices>(velko::Platform::current());
    velko::HelperServices::install(*services);
    velko::HelperStatusService status(desktop.backends(), desktop.bus(),
                                      [] { return velko::ScreenshotWatcher::shared().summary(); });
    if (!status.ownsName()) {
        velko::log::info("already running on this session bus (%s is taken); this one leaves",
                         velko::SingleInstance::busName);
        return 0;
    }
    velko::UnixSignalWatcher unixSignals([](int) { QCoreApplication::quit(); });

    auto delegate = velko::HelperAppDelegate::makeShared();
    QTimer::singleShot(0, [&delegate] { delegate->applicationDidFinishLaunching(); });
    app.exec();

    // Ended mid-expansion (a signal, Quit, logout): the borrowed clipboard goes back first, so
    // that what Qt hands to a clipboard manager as the QApplication ends is the person's own.
    QEventLoop restoring;
    velko::TextExpansionEngine::shared().whenIdle(
        [&restoring] { QTimer::singleShot(0, &restoring, &QEventLoop::quit); });
    QTimer::singleShot(std::chrono::seconds(3), &restoring, &QEventLoop::quit);
    restoring.exec();
    return 0;
}
