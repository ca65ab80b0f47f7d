#include "dbus/SessionBusProbe.h"
#include "platform/Log.h"

#include <dbus/dbus.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>

#include "posix/DeadlineThread.h"

namespace velko {

namespace {
SessionBusProbe::Outcome hello(const std::string& address, int timeoutMs) {
    using Outcome = SessionBusProbe::Outcome;
    DBusError error;
    dbus_error_init(&error);
    DBusConnection* connection = dbus_connection_open_private(address.c_str(), &error);
    if (!connection) {
        dbus_error_free(&error);
        return Outcome::absent;
    }
    dbus_connection_set_exit_on_disconnect(connection, false);
    DBusMessage* hello = dbus_message_new_method_call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "Hello");
    DBusMessage* reply =
        hello ? dbus_connection_send_with_reply_and_block(connection, hello, timeoutMs, &error) : nullptr;
    Outcome outcome = Outcome::answers;
    if (!reply)
        outcome = dbus_error_has_name(&error, DBUS_ERROR_NO_REPLY) || dbus_error_has_name(&error, DBUS_ERROR_TIMEOUT)
                      ? Outcome::silent
                      : Outcome::absent;
    if (reply) dbus_message_unref(reply);
    if (hello) dbus_message_unref(hello);
    dbus_error_free(&error);
    dbus_connection_close(connection);
    dbus_connection_unref(connection);
    return outcome;
}
}  // namespace

std::string SessionBusProbe::address() {
    if (const char* set = std::getenv("DBUS_SESSION_BUS_ADDRESS"); set && *set) return set;
    // Where libdbus looks next, as systemd's user bus puts it.
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (!runtime || !*runtime) return {};
    const std::string socket = std::string(runtime) + "/bus";
    struct stat st {};
    if (::stat(socket.c_str(), &st) != 0 || !S_ISSOCK(st.st_mode)) return {};
    return "unix:path=" + socket;
}

SessionBusProbe::Outcome SessionBusProbe::greet(const std::string& address, std::chrono::milliseconds deadline) {
    // libdbus applies a call's timeout only once the connection is authenticated; a server that
    // never answers the authentication keeps it waiting without end, hence the thread.
    const auto outcome = DeadlineThread::run<Outcome>(
        deadline, [address, deadline] { return hello(address, static_cast<int>(deadline.count())); }, [](Outcome&) {});
    return outcome.value_or(Outcome::silent);
}

void SessionBusProbe::keepOutIfSilent(std::chrono::milliseconds deadline) {
    const std::string found = address();
    if (found.empty() || greet(found, deadline) != Outcome::silent) return;
    log::warning(
        "the session bus (%s) does not answer; running without it: no link with Velko, no "
        "status for velkoctl, no portals",
        found.c_str());
    // An address of a kind libdbus does not know fails at once, for Qt and for us.
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "unanswered:", 1);
}

}  // namespace velko
