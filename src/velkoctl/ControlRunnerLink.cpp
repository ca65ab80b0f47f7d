#include "velkoctl/ControlRunnerLink.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QStringList>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "Core/HelperConstants.h"
#include "dbus/DBusNotificationCenter.h"
#include "dbus/HelperStatusService.h"
#include "dbus/SingleInstance.h"
#include "platform/Log.h"
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

std::string secondsText(ControlRequest::Seconds seconds) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%g s", seconds.count());
    return buffer;
}

int noAnswer(ControlRequest::Seconds timeout) {
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

// The exit status for the helper's reply to Backends(), after printing it or saying what was wrong.
int backendsAnswer(const QDBusMessage& reply, const ControlRequest& request) {
    const QDBusError error(reply);
    switch (error.type()) {
        case QDBusError::NoError:
            break;
        case QDBusError::ServiceUnknown:
            return Console::fail("no helper on this session bus: velko-helper is not running", Code::noHelper);
        case QDBusError::NoReply:
        case QDBusError::Timeout:
        case QDBusError::TimedOut:
        case QDBusError::Disconnected:
            return noAnswer(request.timeout);
        default:
            return Console::fail("the helper did not say its backends: " + error.message().toStdString());
    }
    if (reply.signature() != QStringLiteral("as"))
        return Console::fail("the helper's backends came as '" + reply.signature().toStdString() +
                             "', not a list of lines");
    std::vector<std::string> lines;
    for (const QString& line : reply.arguments().value(0).toStringList()) lines.push_back(line.toStdString());
    return Console::printed(ControlOutput::backends(lines, request.json));
}

}  // namespace

std::unique_ptr<DBusNotificationCenter> ControlRunnerLink::openLink() {
    const QString probeName = QStringLiteral("velkoctl-probe");
    const bool reachable = connectToSessionBus(probeName).isConnected();
    QDBusConnection::disconnectFromBus(probeName);
    if (!reachable) return nullptr;
    return std::make_unique<DBusNotificationCenter>();
}

int ControlRunnerLink::ask(const std::function<void(LinkClient&)>& send) {
    auto link = openLink();
    if (!link) return Code::noHelper;
    QtMainQueue queue;
    SteadyClock clock;
    LinkClient client(*link, queue, clock);
    send(client);
    return QCoreApplication::exec();
}

int ControlRunnerLink::ping(const ControlRequest& request) {
    return ask([&request](LinkClient& client) {
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
    });
}

int ControlRunnerLink::paste(const ControlRequest& request) {
    return ask([&request](LinkClient& client) {
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
    });
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
    log::info("watching the link; Ctrl+C stops");
    return QCoreApplication::exec();
}

int ControlRunnerLink::status(const ControlRequest& request) {
    const QString name = QStringLiteral("velkoctl-status");
    int code = Code::noHelper;
    if (const QDBusConnection bus = connectToSessionBus(name); bus.isConnected()) {
        const QDBusMessage reply =
            bus.call(QDBusMessage::createMethodCall(
                         QString::fromLatin1(SingleInstance::busName), QString::fromLatin1(HelperStatusService::path),
                         QString::fromLatin1(HelperStatusService::interface), QStringLiteral("Backends")),
                     QDBus::Block,
                     static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(request.timeout).count()));
        code = backendsAnswer(reply, request);
        // A round trip drains what the bus still has for us (a quick error leaves its signals
        // queued), which Qt's bus thread would otherwise handle while the program is ending.
        bus.call(QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                                QStringLiteral("/org/freedesktop/DBus"),
                                                QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetId")));
    }
    QDBusConnection::disconnectFromBus(name);
    return code;
}

int ControlRunnerLink::hotkey(const ControlRequest& request) {
    auto link = openLink();
    if (!link) return Code::noHelper;
    link->post(request.notification, request.action);
    // The round trip returns once the bus has taken the signal, so it is not lost when we exit.
    if (!link->sync()) return Console::fail("lost the session bus before the hotkey was posted", Code::noHelper);
    return Console::printed(request.notification + " " + request.action + " posted\n");
}

}  // namespace velko
