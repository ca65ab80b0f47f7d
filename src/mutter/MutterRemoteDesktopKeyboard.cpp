#include "mutter/MutterRemoteDesktopKeyboard.h"
#include "platform/Log.h"
#include "xkb/SilentKey.h"

#include <xkbcommon/xkbcommon.h>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <cstdio>

namespace velko {
namespace {

const QString service = QStringLiteral("org.gnome.Mutter.RemoteDesktop");
const QString sessionInterface = QStringLiteral("org.gnome.Mutter.RemoteDesktop.Session");

}  // namespace

MutterRemoteDesktopKeyboard::MutterRemoteDesktopKeyboard(QDBusConnection bus, std::chrono::milliseconds timeout,
                                                         QObject* parent)
    : QObject(parent),
      bus_(std::move(bus)),
      timeout_(timeout),
      watcher_(service, bus_, QDBusServiceWatcher::WatchForOwnerChange),
      keys_(
          bus_,
          [this](std::uint16_t code, bool down) {
              auto message = QDBusMessage::createMethodCall(owner_, sessionPath_, sessionInterface,
                                                            QStringLiteral("NotifyKeyboardKeycode"));
              message << uint(code) << down;
              return message;
          },
          [this](const std::string& error) {
              if (status_.state == State::ready) fail("mutter refused a key (" + error + ")");
          },
          timeout) {
    connect(&watcher_, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString&, const QString& oldOwner, const QString& newOwner) {
                if (!oldOwner.isEmpty() && status_.state != State::unavailable) {
                    // The session went with the old owner, and the keys held on it.
                    sessionPath_.clear();
                    keys_.forget();
                    fail("mutter's remote desktop went away");
                }
                if (!newOwner.isEmpty()) start();
            });
}

MutterRemoteDesktopKeyboard::~MutterRemoteDesktopKeyboard() {
    keys_.releaseNow();
    endSession();
}

bool MutterRemoteDesktopKeyboard::offered(QDBusConnection& bus) {
    return bus.isConnected() && bus.interface()->isServiceRegistered(service).value();
}

void MutterRemoteDesktopKeyboard::start() {
    if (status_.state != State::unavailable) return;
    const unsigned attempt = ++attempt_;
    stroke_.forget();
    setStatus({State::starting, {}});
    auto message = QDBusMessage::createMethodCall(service, QStringLiteral("/org/gnome/Mutter/RemoteDesktop"), service,
                                                  QStringLiteral("CreateSession"));
    auto* call = new QDBusPendingCallWatcher(bus_.asyncCall(message, int(timeout_.count())), this);
    connect(call, &QDBusPendingCallWatcher::finished, this, [this, call, attempt] {
        call->deleteLater();
        if (attempt != attempt_ || status_.state != State::starting) return;
        const QDBusMessage reply = call->reply();
        if (reply.type() != QDBusMessage::ReplyMessage)
            return fail("no remote desktop session (" + reply.errorMessage().toStdString() + ")");
        owner_ = reply.service();
        sessionPath_ = reply.arguments().value(0).value<QDBusObjectPath>().path();
        if (sessionPath_.isEmpty()) return fail("mutter opened no session");
        bus_.connect(owner_, sessionPath_, sessionInterface, QStringLiteral("Closed"), this, SLOT(onClosed()));
        startSession(attempt);
    });
}

void MutterRemoteDesktopKeyboard::moveTo(QDBusConnection bus) {
    if (status_.state != State::unavailable) {
        sessionPath_.clear();
        fail("the session bus went away");
    }
    bus_ = std::move(bus);
    watcher_.setConnection(bus_);
    keys_.moveTo(bus_);
    if (offered(bus_)) start();
}

void MutterRemoteDesktopKeyboard::startSession(unsigned attempt) {
    auto message = QDBusMessage::createMethodCall(owner_, sessionPath_, sessionInterface, QStringLiteral("Start"));
    auto* call = new QDBusPendingCallWatcher(bus_.asyncCall(message, int(timeout_.count())), this);
    connect(call, &QDBusPendingCallWatcher::finished, this, [this, call, attempt] {
        call->deleteLater();
        if (attempt != attempt_ || status_.state != State::starting) return;
        if (call->isError())
            return fail("mutter did not start the session (" + call->error().message().toStdString() + ")");
        addKeyboardToSeat();
        setStatus({State::ready, {}});
    });
}

// Mutter gives the seat the session's keyboard only with its first key, and that key reaches no
// window: each gets the keyboard after it. On a seat without another keyboard the first paste
// would be lost; a key that types nothing, pressed at once, takes its place.
void MutterRemoteDesktopKeyboard::addKeyboardToSeat() {
    const auto code = silentKey(keymap_);
    if (!code) return;
    const auto key = [this, code](bool down) {
        auto message = QDBusMessage::createMethodCall(owner_, sessionPath_, sessionInterface,
                                                      QStringLiteral("NotifyKeyboardKeycode"));
        message << uint(*code) << down;
        return message;
    };
    keys_.postCall(key(true), key(false));
    keys_.postCall(key(false));
}

void MutterRemoteDesktopKeyboard::onClosed() {
    if (status_.state == State::unavailable) return;
    sessionPath_.clear();
    keys_.forget();
    fail("mutter closed the remote desktop session");
}

void MutterRemoteDesktopKeyboard::endSession() {
    if (sessionPath_.isEmpty()) return;
    keys_.releaseNow();
    bus_.disconnect(owner_, sessionPath_, sessionInterface, QStringLiteral("Closed"), this, SLOT(onClosed()));
    bus_.asyncCall(QDBusMessage::createMethodCall(owner_, sessionPath_, sessionInterface, QStringLiteral("Stop")));
    sessionPath_.clear();
}

void MutterRemoteDesktopKeyboard::fail(const std::string& reason) {
    endSession();
    log::warning("no keys through mutter's remote desktop: %s", reason.c_str());
    setStatus({State::unavailable, reason});
}

void MutterRemoteDesktopKeyboard::setStatus(Status status) {
    if (status == status_) return;
    status_ = std::move(status);
    if (stateHandler_) stateHandler_(status_);
}

bool MutterRemoteDesktopKeyboard::hasFrontmostApplication() { return status_.state == State::ready; }

bool MutterRemoteDesktopKeyboard::postKeyEvent(KeyCode keyCode, EventFlags flags, bool keyDown) {
    if (status_.state != State::ready) return false;
    const auto changes = stroke_.changes(keyCode, flags, keyDown);
    if (changes.empty()) return false;
    keys_.post(changes);
    return true;
}

}  // namespace velko
