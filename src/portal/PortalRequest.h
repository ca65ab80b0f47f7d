#pragma once
#include <QDBusConnection>
#include <QObject>
#include <QTimer>
#include <QVariantList>
#include <QVariantMap>
#include <chrono>
#include <functional>
#include <string>

namespace velko {

// One call to the desktop portal that answers through a Request object: its Response is watched on
// the path the portal will use before the call goes out, so a quick answer cannot slip past, and a
// deadline runs. Exactly one of the two handlers is called, on the Qt loop, unless cancel() comes
// first.
class PortalRequest : public QObject {
    Q_OBJECT
public:
    struct Call {
        QString interface;
        QString method;
        QVariantList arguments;  // before the options, which get the handle token
        QVariantMap options;
        std::chrono::milliseconds timeout;
    };
    // response: 0 granted, 1 declined by the person, 2 ended otherwise.
    using Answered = std::function<void(uint response, const QVariantMap& results)>;
    // Why the call was refused or left unanswered.
    using Failed = std::function<void(const std::string& reason)>;

    static const QString portalPath;
    static const QString sessionInterface;

    // owner: the portal's unique name, so that only its signals count.
    PortalRequest(QDBusConnection bus, QString owner, Call call, Answered answered, Failed failed,
                  QObject* parent = nullptr);
    ~PortalRequest() override;

    // Nothing is called after it; a request still pending is closed on the portal, which takes down
    // a dialog still on screen.
    void cancel();

    // A handle_token or session_handle_token, unique among the process's requests.
    static QString newToken();
    // A session handle, which portals send as an object path or as a string.
    static QString pathText(const QVariant& value);
    // Asks the portal to close a request or session, without waiting: it may be gone, which is as good.
    static void close(QDBusConnection& bus, const QString& owner, const QString& path, const QString& interface);

private slots:
    void onResponse(uint response, const QVariantMap& results);

private:
    void watch(const QString& path);
    void finish();

    QDBusConnection bus_;
    QString owner_;
    QString path_;  // watched; empty once finished
    QTimer deadline_;
    Answered answered_;
    Failed failed_;
};

}  // namespace velko
