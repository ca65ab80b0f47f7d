#include "atspi/AtspiFocusTracker.h"

#include <QCoreApplication>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QPointer>
#include <QThreadPool>
#include <QTimer>
#include <chrono>

#include "dbus/SessionBusConnection.h"
#include "platform/Log.h"

namespace velko {
namespace {

const QString launcherName = QStringLiteral("org.a11y.Bus");
const QString registryName = QStringLiteral("org.a11y.atspi.Registry");
const QString accessibleInterface = QStringLiteral("org.a11y.atspi.Accessible");
const QString rootPath = QStringLiteral("/org/a11y/atspi/accessible/root");
constexpr unsigned focusedState = 12;  // ATSPI_STATE_FOCUSED
constexpr int describeAttempts = 5;
constexpr std::chrono::milliseconds describeRetry{400};

// Applications send events only of the kinds some listener registered.
const char* const eventKinds[] = {"object:state-changed:focused", "focus:", "window:deactivate"};

template <typename Answered>
void whenAnswered(const QDBusPendingCall& call, QObject* context, Answered answered) {
    auto* watcher = new QDBusPendingCallWatcher(call, context);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, context, [answered](QDBusPendingCallWatcher* w) {
        w->deleteLater();
        answered(*w);
    });
}

}  // namespace

AtspiFocusTracker::AtspiFocusTracker(StateHandler stateChanged, QObject* parent)
    : QObject(parent),
      stateChanged_(std::move(stateChanged)),
      session_(std::make_unique<SessionBusConnection>(QStringLiteral("focus"), nullptr, false)),
      bus_(QStringLiteral("velko-accessibility-bus-unconnected")) {
    session_->whenConnected([this](QDBusConnection& session) {
        // The launcher may come later than the helper, or again after it quit.
        auto* watcher = new QDBusServiceWatcher(launcherName, session, QDBusServiceWatcher::WatchForOwnerChange, this);
        connect(watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
                [this, session](const QString&, const QString&, const QString& owner) mutable {
                    if (owner.isEmpty())
                        lost("the accessibility bus went away");
                    else
                        askAddress(session);
                });
        askAddress(session);
    });
    // Told once the caller has the tracker, like every later change.
    if (!session_->isConnected()) QTimer::singleShot(0, this, [this] { reach(false, "no session bus"); });
}

AtspiFocusTracker::~AtspiFocusTracker() {
    if (!busName_.isEmpty()) QDBusConnection::disconnectFromBus(busName_);
}

void AtspiFocusTracker::askAddress(QDBusConnection& session) {
    const auto call = QDBusMessage::createMethodCall(launcherName, QStringLiteral("/org/a11y/bus"), launcherName,
                                                     QStringLiteral("GetAddress"));
    whenAnswered(session.asyncCall(call), this, [this](QDBusPendingCallWatcher& w) {
        const QDBusPendingReply<QString> reply = w;
        if (reply.isError()) {
            log::info("no accessibility bus: %s", qPrintable(reply.error().message()));
            return lost("no accessibility bus");
        }
        connectTo(reply.value());
    });
}

void AtspiFocusTracker::connectTo(const QString& address) {
    if (address == address_) return;
    lost("");  // a new bus: nothing of the old one holds
    address_ = address;
    log::info("the accessibility bus is at %s", qPrintable(address));
    const QString name = QStringLiteral("velko-accessibility-bus-%1").arg(++generation_);
    // Qt waits for the bus's greeting on the thread that connects: not on the main loop. The name
    // must differ from every SessionBusConnection's (velko-<purpose>-<n>), or Qt hands that one back.
    QThreadPool::globalInstance()->start([address, name, self = QPointer<AtspiFocusTracker>(this)] {
        QDBusConnection::connectToBus(address, name);
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, name] {
                if (self)
                    self->attach(name);
                else
                    QDBusConnection::disconnectFromBus(name);
            },
            Qt::QueuedConnection);
    });
}

void AtspiFocusTracker::attach(const QString& name) {
    if (name != QStringLiteral("velko-accessibility-bus-%1").arg(generation_))
        return QDBusConnection::disconnectFromBus(name);
    QDBusConnection bus(name);
    if (!bus.isConnected()) {
        log::info("the accessibility bus refused the connection: %s", qPrintable(bus.lastError().message()));
        QDBusConnection::disconnectFromBus(name);
        address_.clear();
        return reach(false, "the accessibility bus refused the connection");
    }
    bus_ = bus;
    busName_ = name;
    bus_.connect({}, {}, QStringLiteral("org.a11y.atspi.Event.Object"), QStringLiteral("StateChanged"), this,
                 SLOT(onStateChanged(QDBusMessage)));
    bus_.connect({}, {}, QStringLiteral("org.a11y.atspi.Event.Focus"), QStringLiteral("Focus"), this,
                 SLOT(onFocusEvent(QDBusMessage)));
    // GTK 3 and Qt name it Deactivate, GTK 4 deactivate.
    for (const char* member : {"Deactivate", "deactivate"})
        bus_.connect({}, {}, QStringLiteral("org.a11y.atspi.Event.Window"), QString::fromLatin1(member), this,
                     SLOT(onWindowDeactivated(QDBusMessage)));
    bus_.connect(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                 QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameOwnerChanged"), this,
                 SLOT(onNameOwnerChanged(QString, QString, QString)));
    registerEvents();
    reach(true, "");
}

void AtspiFocusTracker::registerEvents() {
    for (const char* kind : eventKinds) {
        auto call =
            QDBusMessage::createMethodCall(registryName, QStringLiteral("/org/a11y/atspi/registry"),
                                           QStringLiteral("org.a11y.atspi.Registry"), QStringLiteral("RegisterEvent"));
        call << QString::fromLatin1(kind);
        whenAnswered(bus_.asyncCall(call), this, [kind](QDBusPendingCallWatcher& w) {
            if (w.isError())
                log::info("the accessibility registry refused %s: %s", kind, qPrintable(w.error().message()));
        });
    }
}

void AtspiFocusTracker::lost(const std::string& why) {
    if (!busName_.isEmpty()) QDBusConnection::disconnectFromBus(std::exchange(busName_, {}));
    address_.clear();
    bus_ = QDBusConnection(QStringLiteral("velko-accessibility-bus-unconnected"));
    ++request_;
    focusedService_.clear();
    focusedPath_.clear();
    applicationNames_.clear();
    set(std::nullopt);
    if (!why.empty()) reach(false, why);
}

void AtspiFocusTracker::onStateChanged(const QDBusMessage& message) {
    const auto args = message.arguments();
    if (args.size() < 2 || args[0].toString() != QLatin1String("focused")) return;
    if (args[1].toInt() != 0)
        focused(message.service(), message.path());
    else
        unfocused(message.service(), message.path());
}

void AtspiFocusTracker::onFocusEvent(const QDBusMessage& message) { focused(message.service(), message.path()); }

void AtspiFocusTracker::onWindowDeactivated(const QDBusMessage& message) { unfocused(message.service()); }

void AtspiFocusTracker::onNameOwnerChanged(const QString& name, const QString&, const QString& newOwner) {
    // A registry started after us (or again) knows nothing of our events, and applications send
    // only those some listener registered.
    if (name == registryName && !newOwner.isEmpty()) return registerEvents();
    if (!newOwner.isEmpty()) return;
    applicationNames_.erase(name);
    unfocused(name);
}

void AtspiFocusTracker::focused(const QString& service, const QString& path) {
    // GTK repeats the event for one widget; a focus already described stays as it is.
    if (service == focusedService_ && path == focusedPath_) return;
    focusedService_ = service;
    focusedPath_ = path;
    describe(++request_, service, path);
}

void AtspiFocusTracker::unfocused(const QString& service, const QString& path) {
    if (service != focusedService_ || (!path.isEmpty() && path != focusedPath_)) return;
    // Where the focus went is not known (a window without accessibility, or none): never stale.
    ++request_;
    focusedService_.clear();
    focusedPath_.clear();
    set(std::nullopt);
}

void AtspiFocusTracker::describe(std::uint64_t request, const QString& service, const QString& path, int attempt) {
    struct Answers {
        std::optional<unsigned> role;
        std::optional<bool> focused;
        std::optional<std::string> application;
        bool failed = false;
    };
    auto answers = std::make_shared<Answers>();
    const auto settle = [this, request, service, answers] {
        if (request != request_ || !answers->role || !answers->focused || !answers->application) return;
        // Focused no more by the time it answered: a later event tells where the focus is.
        if (!*answers->focused) return unfocused(service);
        applicationNames_[service] = *answers->application;
        set(Focus{*answers->application, *answers->role == terminalRole, *answers->role == passwordTextRole});
    };
    // GTK 4 reports its first focus before it serves its objects: asked again a little later. An
    // application that never answers tells nothing about this widget: it stays unknown.
    const auto fail = [this, request, service, path, attempt, answers] {
        if (std::exchange(answers->failed, true) || attempt >= describeAttempts) return;
        QTimer::singleShot(describeRetry, this, [=, this] {
            if (request == request_) describe(request, service, path, attempt + 1);
        });
    };
    const auto ask = [&](const QString& at, const QString& interface, const QString& method, QVariantList args) {
        auto call = QDBusMessage::createMethodCall(service, at, interface, method);
        call.setArguments(args);
        return bus_.asyncCall(call);
    };
    whenAnswered(ask(path, accessibleInterface, QStringLiteral("GetRole"), {}), this,
                 [answers, settle, fail](QDBusPendingCallWatcher& w) {
                     const QDBusPendingReply<uint> reply = w;
                     if (reply.isError()) return fail();
                     answers->role = reply.value();
                     settle();
                 });
    whenAnswered(ask(path, accessibleInterface, QStringLiteral("GetState"), {}), this,
                 [answers, settle, fail](QDBusPendingCallWatcher& w) {
                     const QDBusPendingReply<QList<uint>> reply = w;
                     if (reply.isError() || reply.value().isEmpty()) return fail();
                     answers->focused = (reply.value()[0] & (1u << focusedState)) != 0;
                     settle();
                 });
    if (const auto known = applicationNames_.find(service); known != applicationNames_.end()) {
        answers->application = known->second;
        return;
    }
    whenAnswered(ask(rootPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"),
                     {accessibleInterface, QStringLiteral("Name")}),
                 this, [answers, settle, fail](QDBusPendingCallWatcher& w) {
                     const QDBusPendingReply<QDBusVariant> reply = w;
                     if (reply.isError()) return fail();
                     answers->application = reply.value().variant().toString().toStdString();
                     settle();
                 });
}

void AtspiFocusTracker::set(std::optional<Focus> focus) {
    if (focus == focus_) return;
    focus_ = std::move(focus);
    if (changed_) changed_();
}

void AtspiFocusTracker::reach(bool reached, const std::string& why) {
    if (reached_ == reached) return;
    reached_ = reached;
    if (reached)
        log::info("following the focus on the accessibility bus");
    else
        log::info("the focused widget is not known: %s", why.c_str());
    if (stateChanged_) stateChanged_(reached, why);
}

}  // namespace velko
