#include "portal/PortalRequest.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <atomic>
#include <utility>

namespace velko {
namespace {

const QString requestInterface = QStringLiteral("org.freedesktop.portal.Request");

}  // namespace

const QString PortalRequest::portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString PortalRequest::sessionInterface = QStringLiteral("org.freedesktop.portal.Session");

PortalRequest::PortalRequest(QDBusConnection bus, QString owner, Call call, Answered answered, Failed failed,
                             QObject* parent)
    : QObject(parent),
      bus_(std::move(bus)),
      owner_(std::move(owner)),
      answered_(std::move(answered)),
      failed_(std::move(failed)) {
    const QString token = newToken();
    call.options.insert(QStringLiteral("handle_token"), token);
    const QString sender = bus_.baseService().mid(1).replace(QLatin1Char('.'), QLatin1Char('_'));
    const QString predicted = portalPath + QStringLiteral("/request/") + sender + QLatin1Char('/') + token;
    watch(predicted);

    deadline_.setSingleShot(true);
    connect(&deadline_, &QTimer::timeout, this, [this] {
        const QString seconds = QString::number(deadline_.interval() / 1000.0);
        auto failed = std::move(failed_);
        cancel();
        failed("the desktop portal did not answer within " + seconds.toStdString() + " s");
    });
    deadline_.start(call.timeout);

    auto message = QDBusMessage::createMethodCall(owner_, portalPath, call.interface, call.method);
    call.arguments << call.options;
    message.setArguments(call.arguments);
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(message, int(call.timeout.count())), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, method = call.method, predicted] {
        watcher->deleteLater();
        if (path_.isEmpty()) return;
        const QDBusMessage reply = watcher->reply();
        if (reply.type() != QDBusMessage::ReplyMessage) {
            auto failed = std::move(failed_);
            cancel();
            return failed("the desktop portal refused " + method.toStdString() + " (" +
                          reply.errorMessage().toStdString() + ")");
        }
        // Portals older than the predicted path answer on one of their own.
        const QString handle = reply.arguments().value(0).value<QDBusObjectPath>().path();
        if (path_ == predicted && !handle.isEmpty() && handle != predicted) watch(handle);
    });
}

PortalRequest::~PortalRequest() { cancel(); }

void PortalRequest::cancel() {
    if (path_.isEmpty()) return;
    close(bus_, owner_, path_, requestInterface);
    finish();
}

void PortalRequest::watch(const QString& path) {
    if (!path_.isEmpty())
        bus_.disconnect(owner_, path_, requestInterface, QStringLiteral("Response"), this,
                        SLOT(onResponse(uint, QVariantMap)));
    path_ = path;
    bus_.connect(owner_, path_, requestInterface, QStringLiteral("Response"), this,
                 SLOT(onResponse(uint, QVariantMap)));
}

void PortalRequest::finish() {
    deadline_.stop();
    bus_.disconnect(owner_, path_, requestInterface, QStringLiteral("Response"), this,
                    SLOT(onResponse(uint, QVariantMap)));
    path_.clear();
    answered_ = {};
    failed_ = {};
}

void PortalRequest::onResponse(uint response, const QVariantMap& results) {
    if (path_.isEmpty()) return;
    // The handler may cancel or replace this request: nothing of it is touched after the call.
    auto answered = std::move(answered_);
    finish();
    answered(response, results);
}

QString PortalRequest::newToken() {
    // Request paths must differ among one connection's requests, whichever backend sends them.
    static std::atomic<unsigned> counter{0};
    return QStringLiteral("velko_%1").arg(++counter);
}

QString PortalRequest::pathText(const QVariant& value) {
    if (value.metaType() == QMetaType::fromType<QDBusObjectPath>()) return value.value<QDBusObjectPath>().path();
    return value.toString();
}

void PortalRequest::close(QDBusConnection& bus, const QString& owner, const QString& path, const QString& interface) {
    bus.send(QDBusMessage::createMethodCall(owner, path, interface, QStringLiteral("Close")));
}

}  // namespace velko
