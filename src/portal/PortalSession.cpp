#include "portal/PortalSession.h"
#include "platform/Log.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <cstdio>
#include <utility>

#include "portal/PortalRequest.h"

namespace velko {
namespace {

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");

// The backends the frontend forwards to for this desktop (org.freedesktop.impl.portal.desktop.kde):
// one restarting takes the frontend's sessions with it without a word to their clients.
QStringList watchedServices() {
    QStringList names{portalService};
    for (const QString& desktop : qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(u':', Qt::SkipEmptyParts))
        names << QStringLiteral("org.freedesktop.impl.portal.desktop.") + desktop.toLower();
    return names;
}

}  // namespace

const QString PortalSession::applicationId = QStringLiteral("app.velko.Helper");

PortalSession::PortalSession(QDBusConnection bus, QString interface, std::string what,
                             std::chrono::milliseconds stepTimeout, QObject* parent)
    : QObject(parent),
      bus_(std::move(bus)),
      interface_(std::move(interface)),
      stepTimeout_(stepTimeout),
      what_(std::move(what)),
      portalWatcher_(portalService, bus_, QDBusServiceWatcher::WatchForOwnerChange) {
    portalWatcher_.setWatchedServices(watchedServices());
    connect(&portalWatcher_, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString& name, const QString& oldOwner, const QString& newOwner) {
                // News from a bus that has since been replaced says nothing about this one.
                const auto* daemon = bus_.interface();
                if (daemon && daemon->serviceOwner(name).value() == newOwner) ownerChanged(oldOwner, newOwner);
            });
}

void PortalSession::ownerChanged(const QString& oldOwner, const QString& newOwner) {
    // A first owner is no loss: portals are started on demand, by the helper's own first call too.
    if (!oldOwner.isEmpty() && status_.state != State::unavailable) {
        // The session went with the old owner; the frontend, if it stayed, is told to let go of it.
        const QString stale = std::exchange(sessionPath_, QString());
        fail("the desktop portal went away");
        if (!stale.isEmpty()) PortalRequest::close(bus_, portalOwner_, stale, PortalRequest::sessionInterface);
        lost_ = true;
    }
    if (newOwner.isEmpty() || !lost_ || !portalsRegistered()) return;
    lost_ = false;
    resume();
}

bool PortalSession::portalsRegistered() {
    for (const QString& name : portalWatcher_.watchedServices())
        if (!bus_.interface()->isServiceRegistered(name).value()) return false;
    return true;
}

void PortalSession::moveTo(QDBusConnection bus) {
    if (status_.state != State::unavailable) {
        sessionPath_.clear();  // went with the old bus
        fail("the session bus went away");
        lost_ = true;
    }
    bus_ = std::move(bus);
    portalWatcher_.setConnection(bus_);
    registered_ = false;  // a new connection is a program the registry has not heard of
    busReplaced();
    // Otherwise the watcher takes it up when the portal arrives.
    if (!lost_ || !bus_.isConnected() || !portalsRegistered()) return;
    lost_ = false;
    resume();
}

PortalSession::~PortalSession() {
    dropRequest();
    if (!sessionPath_.isEmpty())
        PortalRequest::close(bus_, portalOwner_, sessionPath_, PortalRequest::sessionInterface);
}

unsigned PortalSession::begin() {
    endSession();
    return ++attempt_;
}

void PortalSession::findPortal(const QString& property, const std::string& missing,
                               std::function<void(const QVariant&)> found) {
    auto message =
        QDBusMessage::createMethodCall(portalService, PortalRequest::portalPath,
                                       QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    message << interface_ << property;
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(message, int(stepTimeout_.count())), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, watcher, attempt = attempt_, missing, found = std::move(found)] {
                watcher->deleteLater();
                if (!current(attempt)) return;
                const QDBusMessage reply = watcher->reply();
                if (reply.type() != QDBusMessage::ReplyMessage)
                    return fail(missing + " (" + reply.errorMessage().toStdString() + ")");
                portalOwner_ = reply.service();
                found(reply.arguments().value(0).value<QDBusVariant>().variant());
            });
}

void PortalSession::registerThen(unsigned attempt, std::function<void()> then) {
    if (registered_) return then();
    registered_ = true;
    // The registry must hear of the program before any other portal call on the connection.
    auto message = QDBusMessage::createMethodCall(portalService, PortalRequest::portalPath,
                                                  QStringLiteral("org.freedesktop.host.portal.Registry"),
                                                  QStringLiteral("Register"));
    message << applicationId << QVariantMap();
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(message, int(stepTimeout_.count())), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, attempt, then = std::move(then)] {
        watcher->deleteLater();
        if (current(attempt)) then();
    });
}

void PortalSession::request(const QString& method, QVariantList arguments, QVariantMap options,
                            std::chrono::milliseconds timeout, std::string declined, Granted granted,
                            bool endedWithResults) {
    dropRequest();
    pending_ = new PortalRequest(
        bus_, portalOwner_, {interface_, method, std::move(arguments), std::move(options), timeout},
        [this, declined = std::move(declined), granted = std::move(granted), endedWithResults](
            uint response, const QVariantMap& results) {
            if (status_.state != State::starting) return;
            dropRequest();  // deleted later, so what this holds lives on meanwhile
            if (response == 1) return fail(declined);
            if (response == 2 && endedWithResults && !results.isEmpty()) return granted(results);
            if (response != 0) return fail("the desktop portal ended the request");
            granted(results);
        },
        [this](const std::string& reason) { fail(reason); }, this);
}

void PortalSession::createSession(std::string declined, std::function<void()> opened, QVariantMap options) {
    if (!options.contains(QStringLiteral("session_handle_token")))
        options.insert(QStringLiteral("session_handle_token"), PortalRequest::newToken());
    request(QStringLiteral("CreateSession"), {}, std::move(options), stepTimeout_, std::move(declined),
            [this, opened = std::move(opened)](const QVariantMap& results) {
                sessionPath_ = PortalRequest::pathText(results.value(QStringLiteral("session_handle")));
                if (sessionPath_.isEmpty()) return fail("the desktop portal opened no session");
                bus_.connect(portalOwner_, sessionPath_, PortalRequest::sessionInterface, QStringLiteral("Closed"),
                             this, SLOT(onSessionClosed(QVariantMap)));
                opened();
            });
}

void PortalSession::onSessionClosed(const QVariantMap&) {
    if (status_.state == State::unavailable) return;
    sessionPath_.clear();  // gone already
    fail(closedReason());
}

void PortalSession::dropRequest() {
    if (!pending_) return;
    pending_->cancel();
    pending_->deleteLater();
    pending_ = nullptr;
}

void PortalSession::endSession() {
    dropRequest();  // which takes down a dialog still on screen
    sessionEnding();
    if (!sessionPath_.isEmpty()) {
        bus_.disconnect(portalOwner_, sessionPath_, PortalRequest::sessionInterface, QStringLiteral("Closed"), this,
                        SLOT(onSessionClosed(QVariantMap)));
        PortalRequest::close(bus_, portalOwner_, sessionPath_, PortalRequest::sessionInterface);
        sessionPath_.clear();
    }
}

void PortalSession::fail(const std::string& reason) {
    // Whatever failed because the bus went away is taken up again on the next one.
    if (!bus_.isConnected() && status_.state != State::unavailable) lost_ = true;
    endSession();
    log::warning("no %s through the desktop portal: %s", what_.c_str(), reason.c_str());
    setStatus({State::unavailable, reason});
}

void PortalSession::setStatus(Status status) {
    if (status == status_) return;
    status_ = std::move(status);
    if (stateHandler_) stateHandler_(status_);
}

}  // namespace velko
