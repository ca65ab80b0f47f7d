#include "velkoctl/ControlRunnerLink.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusError>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "Core/HelperConstants.h"
#include "dbus/DBusNotificationCenter.h"
#include "posix/SteadyClock.h"
#include "qt/QtMainQueue.h"
#include "qt/UnixSignalWatcher.h"
#include "velkoctl/ControlCommandLine.h"
#include "velkoctl/ControlConsole.h"
#include "velkoctl/ControlOutput.h"
#include "velkoctl/LinkClient.h"

namespace velko {

namespace {

using Code = ControlCommandLine::ExitCode;
using Console = ControlConsole;

std::string secondsText(double seconds) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%g s", seconds);
    return buffer;
}

int noAnswer(double timeout) {
    return Console::fail(
        "no helper answered within " + secondsText(timeout) + "; is velko-helper running on this session bus?",
        Code::noHelper);
}

// A connection of its own, so a missing bus is one plain line from us rather than the
// notification center's notice that it keeps retrying. Not connected, after saying why, when
// there is no bus.
QDBusConnection connectToSessionBus(const QString& name) {
    QDBusConnection connection = QDBusConnection::connectToBus(QDBusConnection::SessionBus, name);
    if (!connection.isConnected()) {
        const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
        Console::fail("cannot reach the session bus (" + connection.lastError().message().toStdString() + ")" +
                          (address && *address ? "" : "; DBUS_SESSION_BUS_ADDRESS is not set"),
                      Code::noHelper);
    }
    return connection;
}

}  // namespace

std::unique_ptr<DBusNotificationCenter> ControlRunnerLink::openLink() {
    const QString probeName = QStringLiteral("velkoctl-probe");
    const bool reachable = connectToSessionBus(probeName).isConnected();
    QDBusConnection::disconnectFromBus(probeName);
    if (!reachable) return nullptr;
    return std::make_unique<DBusNotificationCenter>();
}

int ControlRunnerLink::ping(const ControlRequest& request) {
    auto link = openLink();
    if (!link) return Code::noHelper;
    QtMainQueue queue;
    SteadyClock clock;
    LinkClient client(*link, queue, clock);
    client.ping(request.timeout, [&request](const LinkClient::Answer& answer) {
        int code = Code::done;
        if (answer.kind == LinkClient::Answer::Kind::none)
            code = noAnswer(request.timeout);
        else if (!HelperConstants::PongPayload::fromJson(answer.object))
            code = Console::fail("the answer is not a pong record: " + ControlOutput::escaped(answer.object));
        else
            code = Console::printed(answer.object + "\n" + ControlOutput::roundTrip(answer.roundTrip) + "\n");
        QCoreApplication::exit(code);
    });
    return QCoreApplication::exec();
}

int ControlRunnerLink::paste(const ControlRequest& request) {
    auto link = openLink();
    if (!link) return Code::noHelper;
    QtMainQueue queue;
    SteadyClock clock;
    LinkClient client(*link, queue, clock);
    client.paste(request.notification, request.timeout, [&request](const LinkClient::Answer& answer) {
        int code = Code::done;
        switch (answer.kind) {
            case LinkClient::Answer::Kind::none:
                code = noAnswer(request.timeout);
                break;
            case LinkClient::Answer::Kind::degraded:
                code = Console::fail("the helper has no input access (" + ControlOutput::escaped(answer.object) +
                                     "); nothing was pasted");
                break;
            case LinkClient::Answer::Kind::pong:
                code = Console::printed(request.notification + " taken: the helper presses " + request.keys +
                                        " in the focused window, if there is one\n");
                break;
        }
        QCoreApplication::exit(code);
    });
    return QCoreApplication::exec();
}

int ControlRunnerLink::watch(const ControlRequest& request) {
    auto link = openLink();
    if (!link) return Code::noHelper;
    UnixSignalWatcher interruptions([](int) { QCoreApplication::exit(Code::done); });
    // Like cat: a reader that goes away (velkoctl watch | head) ends the watch quietly.
    std::signal(SIGPIPE, SIG_DFL);
    const bool json = request.json;
    link->observeAll([json](const std::string& name, const std::string& object) {
        if (!Console::print(ControlOutput::notification(name, object, std::chrono::system_clock::now(), json)))
            QCoreApplication::exit(Code::failed);
    });
    if (!link->sync()) return Console::fail("lost the session bus before the watch was in place", Code::noHelper);
    std::fputs("velkoctl: watching the link; Ctrl+C stops\n", stderr);
    return QCoreApplication::exec();
}

}  // namespace velko
