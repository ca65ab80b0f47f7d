#pragma once
#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QString>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "platform/FocusTracker.h"

namespace velko {

class SessionBusConnection;

// The focused widget as the accessibility bus (AT-SPI) reports it: its application, and whether it
// is a password field or a terminal by its role. Every call is asynchronous. The focus is unknown
// until a widget reports it, and again once it loses it without another gaining it (its window
// deactivated, its application gone, the bus gone).
class AtspiFocusTracker : public QObject, public FocusTracker {
    Q_OBJECT
public:
    // Whether the bus is reached, and why not, each time that changes.
    using StateHandler = std::function<void(bool reached, const std::string& why)>;

    explicit AtspiFocusTracker(StateHandler stateChanged, QObject* parent = nullptr);
    ~AtspiFocusTracker() override;

    std::optional<Focus> focus() const override { return focus_; }
    void onChange(std::function<void()> changed) override { changed_ = std::move(changed); }

    // ATSPI_ROLE_* values read here.
    static constexpr unsigned passwordTextRole = 40;
    static constexpr unsigned terminalRole = 60;

private slots:
    void onStateChanged(const QDBusMessage& message);
    void onFocusEvent(const QDBusMessage& message);
    void onWindowDeactivated(const QDBusMessage& message);
    void onNameOwnerChanged(const QString& name, const QString& oldOwner, const QString& newOwner);

private:
    void askAddress(QDBusConnection& session);
    void connectTo(const QString& address);
    void attach(const QString& connectionName);
    void registerEvents();
    void lost(const std::string& why);
    void focused(const QString& service, const QString& path);
    // The widget at service/path lost the focus, or its application went away.
    void unfocused(const QString& service, const QString& path = {});
    void describe(std::uint64_t request, const QString& service, const QString& path, int attempt = 1);
    void set(std::optional<Focus> focus);
    void reach(bool reached, const std::string& why);

    StateHandler stateChanged_;
    std::function<void()> changed_;
    std::unique_ptr<SessionBusConnection> session_;
    QDBusConnection bus_;
    QString busName_;  // empty while no accessibility bus is attached
    QString address_;  // the bus attached or being attached; its launcher's start is told twice
    std::uint64_t generation_ = 0;
    std::uint64_t request_ = 0;  // the latest focus event's; older answers are stale
    QString focusedService_, focusedPath_;
    std::optional<Focus> focus_;
    std::map<QString, std::string> applicationNames_;  // by unique name
    std::optional<bool> reached_;
};

}  // namespace velko
