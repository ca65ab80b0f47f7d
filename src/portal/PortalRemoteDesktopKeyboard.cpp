#include "portal/PortalRemoteDesktopKeyboard.h"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <cstdio>
#include <utility>

#include "portal/PortalRequest.h"

namespace velko {
namespace {

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString& portalPath = PortalRequest::portalPath;
const QString& sessionInterface = PortalRequest::sessionInterface;
const QString remoteDesktop = QStringLiteral("org.freedesktop.portal.RemoteDesktop");
constexpr uint keyboardDevice = 1;
constexpr uint persistUntilRevoked = 2;

QByteArray programName() {
    const QString name = QCoreApplication::applicationName();
    return name.isEmpty() ? QByteArrayLiteral("velko-helper") : name.toLocal8Bit();
}

}  // namespace

PortalRemoteDesktopKeyboard::PortalRemoteDesktopKeyboard(QDBusConnection bus, TokenStore tokens, QObject* parent)
    : PortalRemoteDesktopKeyboard(std::move(bus), std::move(tokens), Timeouts{}, parent) {}

PortalRemoteDesktopKeyboard::PortalRemoteDesktopKeyboard(QDBusConnection bus, TokenStore tokens, Timeouts timeouts,
                                                         QObject* parent)
    : QObject(parent),
      bus_(std::move(bus)),
      tokens_(std::move(tokens)),
      timeouts_(timeouts),
      portalWatcher_(portalService, bus_, QDBusServiceWatcher::WatchForUnregistration) {
    connect(&portalWatcher_, &QDBusServiceWatcher::serviceUnregistered, this, [this] {
        if (status_.state == State::unavailable) return;
        sessionPath_.clear();  // went with the portal
        fail("the desktop portal went away");
    });
}

PortalRemoteDesktopKeyboard::~PortalRemoteDesktopKeyboard() {
    dropRequest();
    if (!sessionPath_.isEmpty()) PortalRequest::close(bus_, portalOwner_, sessionPath_, sessionInterface);
}

void PortalRemoteDesktopKeyboard::start() {
    if (status_.state != State::unavailable) return;
    ++attempt_;
    restoring_ = tokens_.load && !tokens_.load().empty();
    stroke_ = EvdevStroke{};
    setStatus({State::starting, {}});
    if (!bus_.isConnected()) return fail("no session bus");

    // Also starts a portal that is activated on demand, and names the instance that answers.
    auto message = QDBusMessage::createMethodCall(
        portalService, portalPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    message << remoteDesktop << QStringLiteral("AvailableDeviceTypes");
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(message, int(timeouts_.step.count())), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, attempt = attempt_] {
        watcher->deleteLater();
        if (!current(attempt)) return;
        const QDBusMessage reply = watcher->reply();
        if (reply.type() != QDBusMessage::ReplyMessage)
            return fail("no desktop portal with remote desktop (" + reply.errorMessage().toStdString() + ")");
        portalOwner_ = reply.service();
        onDeviceTypes(reply.arguments().value(0).value<QDBusVariant>().variant().toUInt());
    });
}

void PortalRemoteDesktopKeyboard::onDeviceTypes(uint types) {
    if (!(types & keyboardDevice)) return fail("the desktop portal offers no keyboard");
    request(Step::createSession, QStringLiteral("CreateSession"), {},
            {{QStringLiteral("session_handle_token"), PortalRequest::newToken()}}, timeouts_.step);
}

void PortalRemoteDesktopKeyboard::request(Step step, const QString& method, QVariantList arguments, QVariantMap options,
                                          std::chrono::milliseconds timeout) {
    dropRequest();
    step_ = step;
    pending_ = new PortalRequest(
        bus_, portalOwner_, {remoteDesktop, method, std::move(arguments), std::move(options), timeout},
        [this](uint response, const QVariantMap& results) { onResponse(response, results); },
        [this](const std::string& reason) { fail(reason); }, this);
}

void PortalRemoteDesktopKeyboard::dropRequest() {
    if (!pending_) return;
    pending_->cancel();
    pending_->deleteLater();
    pending_ = nullptr;
}

void PortalRemoteDesktopKeyboard::onResponse(uint response, const QVariantMap& results) {
    if (status_.state != State::starting) return;
    dropRequest();
    const Step step = std::exchange(step_, Step::none);
    if (response == 1) return fail("keyboard access was declined");
    if (response != 0) return fail("the desktop portal ended the request");

    switch (step) {
        case Step::createSession: {
            sessionPath_ = PortalRequest::pathText(results.value(QStringLiteral("session_handle")));
            if (sessionPath_.isEmpty()) return fail("the desktop portal opened no session");
            bus_.connect(portalOwner_, sessionPath_, sessionInterface, QStringLiteral("Closed"), this,
                         SLOT(onSessionClosed(QVariantMap)));
            QVariantMap options{{QStringLiteral("types"), keyboardDevice},
                                {QStringLiteral("persist_mode"), persistUntilRevoked}};
            sentToken_ = tokens_.load ? tokens_.load() : std::string();
            if (!sentToken_.empty())
                options.insert(QStringLiteral("restore_token"), QString::fromStdString(sentToken_));
            request(Step::selectDevices, QStringLiteral("SelectDevices"),
                    {QVariant::fromValue(QDBusObjectPath(sessionPath_))}, options, timeouts_.step);
            break;
        }
        case Step::selectDevices:
            request(Step::start, QStringLiteral("Start"),
                    {QVariant::fromValue(QDBusObjectPath(sessionPath_)), QString()}, {}, timeouts_.start);
            break;
        case Step::start: {
            const QVariant devices = results.value(QStringLiteral("devices"));
            if (devices.isValid() && !(devices.toUInt() & keyboardDevice))
                return fail("keyboard access was not granted");
            // A token serves once: what came back replaces the one sent, an absent one included.
            const std::string token = results.value(QStringLiteral("restore_token")).toString().toStdString();
            if (tokens_.save && token != sentToken_) tokens_.save(token);
            setStatus({State::ready, {}});
            break;
        }
        case Step::none:
            break;
    }
}

void PortalRemoteDesktopKeyboard::onSessionClosed(const QVariantMap&) {
    if (status_.state == State::unavailable) return;
    fail("the desktop portal closed the session (access revoked)");
}

void PortalRemoteDesktopKeyboard::fail(const std::string& reason) {
    step_ = Step::none;
    dropRequest();  // which takes down a dialog still on screen
    if (!sessionPath_.isEmpty()) {
        bus_.disconnect(portalOwner_, sessionPath_, sessionInterface, QStringLiteral("Closed"), this,
                        SLOT(onSessionClosed(QVariantMap)));
        PortalRequest::close(bus_, portalOwner_, sessionPath_, sessionInterface);
        sessionPath_.clear();
    }
    std::fprintf(stderr, "%s: no keys through the desktop portal: %s\n", programName().constData(), reason.c_str());
    setStatus({State::unavailable, reason});
}

void PortalRemoteDesktopKeyboard::setStatus(Status status) {
    if (status == status_) return;
    status_ = std::move(status);
    if (handler_) handler_(status_);
}

bool PortalRemoteDesktopKeyboard::hasFrontmostApplication() { return status_.state == State::ready; }

bool PortalRemoteDesktopKeyboard::postKeyEvent(KeyCode keyCode, EventFlags flags, bool keyDown) {
    if (status_.state != State::ready) return false;
    const auto changes = stroke_.changes(keyCode, flags, keyDown);
    if (changes.empty()) return false;
    for (const auto& change : changes) {
        auto message = QDBusMessage::createMethodCall(portalOwner_, portalPath, remoteDesktop,
                                                      QStringLiteral("NotifyKeyboardKeycode"));
        message << QVariant::fromValue(QDBusObjectPath(sessionPath_)) << QVariantMap() << int(change.code)
                << uint(change.down ? 1 : 0);
        // Sent in order on one connection, so the portal sees them in order without a wait between.
        auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(message, int(timeouts_.step.count())), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, attempt = attempt_] {
            watcher->deleteLater();
            if (attempt != attempt_ || status_.state != State::ready || !watcher->isError()) return;
            fail("the desktop portal refused a key (" + watcher->error().message().toStdString() + ")");
        });
    }
    return true;
}

}  // namespace velko
