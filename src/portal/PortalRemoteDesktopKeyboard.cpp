#include "portal/PortalRemoteDesktopKeyboard.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <utility>

#include "portal/PortalRequest.h"
#include "xkb/SilentKey.h"

namespace velko {
namespace {

const QString& portalPath = PortalRequest::portalPath;
const QString remoteDesktop = QStringLiteral("org.freedesktop.portal.RemoteDesktop");
constexpr uint keyboardDevice = 1;
constexpr uint persistUntilRevoked = 2;

}  // namespace

PortalRemoteDesktopKeyboard::PortalRemoteDesktopKeyboard(QDBusConnection bus, TokenStore tokens, QObject* parent)
    : PortalRemoteDesktopKeyboard(std::move(bus), std::move(tokens), Timeouts{}, parent) {}

PortalRemoteDesktopKeyboard::PortalRemoteDesktopKeyboard(QDBusConnection bus, TokenStore tokens, Timeouts timeouts,
                                                         QObject* parent)
    : PortalSession(std::move(bus), remoteDesktop, "keys", timeouts.step, parent),
      tokens_(std::move(tokens)),
      startTimeout_(timeouts.start),
      keys_(
          bus_,
          [this](std::uint16_t code, bool down) {
              auto message = QDBusMessage::createMethodCall(portalOwner_, portalPath, remoteDesktop,
                                                            QStringLiteral("NotifyKeyboardKeycode"));
              message << QVariant::fromValue(QDBusObjectPath(sessionPath_)) << QVariantMap() << int(code)
                      << uint(down ? 1 : 0);
              return message;
          },
          [this](const std::string& error) {
              if (state().state == State::ready) fail("the desktop portal refused a key (" + error + ")");
          },
          timeouts.step) {}

void PortalRemoteDesktopKeyboard::start() {
    if (state().state != State::unavailable) return;
    stroke_.forget();
    const unsigned attempt = begin();
    setStatus({State::starting, {}});
    if (!bus_.isConnected()) return fail("no session bus");
    // Registered, the dialog names the helper rather than no application at all.
    registerThen(attempt, [this] {
        findPortal(QStringLiteral("AvailableDeviceTypes"), "no desktop portal with remote desktop",
                   [this](const QVariant& types) {
                       if (!(types.toUInt() & keyboardDevice)) return fail("the desktop portal offers no keyboard");
                       createSession("keyboard access was declined", [this] { selectDevices(); });
                   });
    });
}

void PortalRemoteDesktopKeyboard::selectDevices() {
    QVariantMap options{{QStringLiteral("types"), keyboardDevice},
                        {QStringLiteral("persist_mode"), persistUntilRevoked}};
    sentToken_ = tokens_.load ? tokens_.load() : std::string();
    if (!sentToken_.empty()) options.insert(QStringLiteral("restore_token"), QString::fromStdString(sentToken_));
    request(QStringLiteral("SelectDevices"), {QVariant::fromValue(QDBusObjectPath(sessionPath_))}, options,
            stepTimeout_, "keyboard access was declined", [this](const QVariantMap&) { startSession(); });
}

void PortalRemoteDesktopKeyboard::startSession() {
    request(QStringLiteral("Start"), {QVariant::fromValue(QDBusObjectPath(sessionPath_)), QString()}, {}, startTimeout_,
            "keyboard access was declined", [this](const QVariantMap& results) {
                const QVariant devices = results.value(QStringLiteral("devices"));
                if (devices.isValid() && !(devices.toUInt() & keyboardDevice))
                    return fail("keyboard access was not granted");
                // A token serves once: what came back replaces the one sent. A portal that gives none
                // (RemoteDesktop version 1) leaves in place what a newer one may still accept.
                const std::string token = results.value(QStringLiteral("restore_token")).toString().toStdString();
                if (tokens_.save && !token.empty() && token != sentToken_) tokens_.save(token);
                addKeyboardToSeat();
                setStatus({State::ready, {}});
            });
}

// Behind GNOME's portal is a mutter session, whose keyboard joins the seat only with its first key,
// and that key reaches no window: a key that types nothing, pressed at once, takes its place.
void PortalRemoteDesktopKeyboard::addKeyboardToSeat() {
    if (const auto code = silentKey(keymap_)) keys_.post({{*code, true}, {*code, false}});
}

void PortalRemoteDesktopKeyboard::sessionEnding() {
    guarded_ = false;
    // A closed session took its device, and the keys held on it, along.
    if (sessionPath_.isEmpty())
        keys_.forget();
    else
        keys_.releaseNow();
}

bool PortalRemoteDesktopKeyboard::hasFrontmostApplication() { return state().state == State::ready; }

bool PortalRemoteDesktopKeyboard::postKeyEvent(KeyCode keyCode, EventFlags flags, bool keyDown) {
    if (state().state != State::ready) return false;
    const auto changes = stroke_.changes(keyCode, flags, keyDown);
    if (changes.empty()) return false;
    if (keyDown && !guarded_ && guard_.applies && guard_.applies(keyCode, flags)) {
        keys_.postCall(guard_.before, guard_.after);
        guarded_ = true;
    }
    keys_.post(changes);
    if (!keyDown && guarded_) {
        // The portal's call returns before the compositor has handled the key, which comes to it
        // another way than this call: lifted at once, the block could end before the V is seen.
        keys_.postCall(guard_.after, std::nullopt, guardGrace);
        guarded_ = false;
    }
    return true;
}

}  // namespace velko
