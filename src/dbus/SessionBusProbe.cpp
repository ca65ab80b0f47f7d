#include "dbus/SessionBusProbe.h"
#include "platform/Log.h"

#include <dbus/dbus.h>
#include <sys/stat.h>

#include <cstdlib>
#include <memory>

#include "posix/DeadlineThread.h"

namespace velko {

namespace {
struct Release {
    void operator()(DBusConnection* connection) const {
        dbus_connection_close(connection);  // a private connection must be closed before its last unref
        dbus_connection_unref(connection);
    }
    void operator()(DBusMessage* message) const { dbus_message_unref(message); }
};

// Frees what libdbus put into it, however the call ended.
struct Error : DBusError {
    Error() { dbus_error_init(this); }
    ~Error() { dbus_error_free(this); }
    Error(const Error&) = delete;
    Error& operator=(const Error&) = delete;
};

SessionBusProbe::Outcome hello(const std::string& address, std::chrono::milliseconds timeout) {
    using Outcome = SessionBusProbe::Outcome;
    Error error;
    const std::unique_ptr<DBusConnection, Release> connection(dbus_connection_open_private(address.c_str(), &error));
    if (!connection) return Outcome::absent;
    dbus_connection_set_exit_on_disconnect(connection.get(), false);
    const std::unique_ptr<DBusMessage, Release> hello(
        dbus_message_new_method_call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "Hello"));
    const std::unique_ptr<DBusMessage, Release> reply(
        hello ? dbus_connection_send_with_reply_and_block(connection.get(), hello.get(),
                                                          static_cast<int>(timeout.count()), &error)
              : nullptr);
    if (reply) return Outcome::answers;
    return dbus_error_has_name(&error, DBUS_ERROR_NO_REPLY) || dbus_error_has_name(&error, DBUS_ERROR_TIMEOUT)
               ? Outcome::silent
               : Outcome::absent;
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
        deadline, [address, deadline] { return hello(address, deadline); }, [](Outcome&) {});
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
