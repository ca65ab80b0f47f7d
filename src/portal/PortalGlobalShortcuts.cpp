#include "portal/PortalGlobalShortcuts.h"
#include "platform/Log.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusReply>
#include <algorithm>
#include <cstdio>
#include <utility>

#include "portal/PortalRequest.h"

namespace velko {
namespace {

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString& portalPath = PortalRequest::portalPath;
const QString shortcutsInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");

}  // namespace

// One element of BindShortcuts' a(sa{sv}).
struct ShortcutEntry {
    QString id;
    QVariantMap options;
};

QDBusArgument& operator<<(QDBusArgument& argument, const ShortcutEntry& entry) {
    argument.beginStructure();
    argument << entry.id << entry.options;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, ShortcutEntry& entry) {
    argument.beginStructure();
    argument >> entry.id >> entry.options;
    argument.endStructure();
    return argument;
}

}  // namespace velko

Q_DECLARE_METATYPE(velko::ShortcutEntry)

namespace velko {
namespace {

QList<ShortcutEntry> entriesFor(const std::vector<PortalGlobalShortcuts::Shortcut>& shortcuts) {
    QList<ShortcutEntry> list;
    for (const auto& s : shortcuts)
        list.push_back({QString::fromStdString(s.id),
                        {{QStringLiteral("description"), QString::fromStdString(s.description)},
                         {QStringLiteral("preferred_trigger"), QString::fromStdString(s.preferredTrigger)}}});
    return list;
}

}  // namespace
}  // namespace velko

namespace velko {

const std::vector<PortalGlobalShortcuts::Shortcut>& PortalGlobalShortcuts::shortcuts() {
    constexpr EventFlags commandShift = Flags::command | Flags::shift;
    static const std::vector<Shortcut> all{
        {KeyCodes::v, commandShift, "open_popover", "Open the Velko clipboard history", "CTRL+SHIFT+V"},
        {KeyCodes::space, commandShift, "spotlight_launcher", "Search Velko", "CTRL+SHIFT+space"},
        {KeyCodes::s, commandShift, "save_snippet", "Save the selection as a Velko snippet", "CTRL+SHIFT+S"},
    };
    return all;
}

bool PortalGlobalShortcuts::portalOnBus(const QDBusConnection& bus) {
    if (!bus.isConnected() || !bus.interface()) return false;
    if (bus.interface()->isServiceRegistered(portalService)) return true;
    const QDBusReply<QStringList> activatable = bus.interface()->activatableServiceNames();
    return activatable.isValid() && activatable.value().contains(portalService);
}

PortalGlobalShortcuts::PortalGlobalShortcuts(QDBusConnection bus, QObject* parent)
    : PortalGlobalShortcuts(std::move(bus), Timeouts{}, parent) {}

PortalGlobalShortcuts::PortalGlobalShortcuts(QDBusConnection bus, Timeouts timeouts, QObject* parent)
    : PortalSession(std::move(bus), shortcutsInterface, "hotkeys", timeouts.step, parent), bindTimeout_(timeouts.bind) {
    qDBusRegisterMetaType<ShortcutEntry>();
    qDBusRegisterMetaType<QList<ShortcutEntry>>();
}

bool PortalGlobalShortcuts::create(const std::vector<Combination>& combinations, Callback callback) {
    const unsigned attempt = begin();
    callback_ = {};
    bound_.clear();
    for (const Combination& combination : combinations) {
        const auto& all = shortcuts();
        const auto found = std::find_if(all.begin(), all.end(), [&](const Shortcut& s) {
            return s.keyCode == combination.keyCode && s.modifiers == combination.modifiers;
        });
        if (found == all.end()) {
            fail("no desktop shortcut is known for key " + std::to_string(combination.keyCode));
            return false;
        }
        bound_.push_back(*found);
    }
    if (!bus_.isConnected()) {
        fail("no session bus");
        return false;
    }
    if (!portalOnBus(bus_)) {
        fail("no desktop portal on the session bus");
        return false;
    }
    callback_ = std::move(callback);
    setStatus({State::starting, {}});
    ask(attempt);
    return true;
}

void PortalGlobalShortcuts::resume() {
    if (bound_.empty() || !callback_) return;
    const unsigned attempt = begin();
    setStatus({State::starting, {}});
    ask(attempt);
}

void PortalGlobalShortcuts::ask(unsigned attempt) {
    // Registering names the helper in the desktop's shortcut settings.
    registerThen(attempt, [this] { findShortcuts(); });
}

void PortalGlobalShortcuts::findShortcuts() {
    findPortal(QStringLiteral("version"), "the desktop portal offers no global shortcuts", [this](const QVariant&) {
        bus_.connect(portalOwner_, portalPath, shortcutsInterface, QStringLiteral("Activated"), this,
                     SLOT(onActivated(QDBusObjectPath, QString, qulonglong, QVariantMap)));
        bus_.connect(portalOwner_, portalPath, shortcutsInterface, QStringLiteral("ShortcutsChanged"), this,
                     SLOT(onShortcutsChanged(QDBusMessage)));
        // Plasma 5.27 takes the shortcuts from CreateSession and ignores BindShortcuts' list.
        QVariantMap options{{QStringLiteral("shortcuts"), QVariant::fromValue(entriesFor(bound_))}};
        // Plasma 5.27 files the shortcuts under the session's token, which its settings then show: the
        // helper's own name for the first session, a fresh token for one that replaces it.
        if (!namedSession_) {
            namedSession_ = true;
            options.insert(QStringLiteral("session_handle_token"), QStringLiteral("velko_helper"));
        }
        createSession(
            "the shortcuts were declined", [this] { bind(); }, std::move(options));
    });
}

void PortalGlobalShortcuts::bind() {
    request(
        QStringLiteral("BindShortcuts"),
        {QVariant::fromValue(QDBusObjectPath(sessionPath_)), QVariant::fromValue(entriesFor(bound_)), QString()}, {},
        bindTimeout_, "the shortcuts were declined",
        [this](const QVariantMap& results) {
            takeTriggers(results.value(QStringLiteral("shortcuts")));
            if (triggers_.empty()) return fail("the desktop bound none of the shortcuts");
            log::info("hotkeys through the desktop portal: %s", triggersLine().c_str());
            setStatus({State::ready, {}});
        },
        true);
}

void PortalGlobalShortcuts::takeTriggers(const QVariant& shortcuts) {
    std::map<std::string, std::string> triggers;
    // Anything but the documented type counts as no shortcut at all.
    if (shortcuts.metaType() == QMetaType::fromType<QDBusArgument>()) {
        const auto argument = shortcuts.value<QDBusArgument>();
        if (argument.currentSignature() == QLatin1String("a(sa{sv})")) {
            for (const ShortcutEntry& entry : qdbus_cast<QList<ShortcutEntry>>(argument)) {
                const std::string id = entry.id.toStdString();
                const bool asked =
                    std::any_of(bound_.begin(), bound_.end(), [&](const Shortcut& s) { return s.id == id; });
                if (asked)
                    triggers[id] = entry.options.value(QStringLiteral("trigger_description")).toString().toStdString();
            }
        }
    }
    if (triggers == triggers_) return;
    triggers_ = std::move(triggers);
    for (const auto& handler : triggersHandlers_) handler();
}

void PortalGlobalShortcuts::onActivated(const QDBusObjectPath& session, const QString& id, qulonglong,
                                        const QVariantMap&) {
    if (state().state != State::ready || session.path() != sessionPath_ || !callback_) return;
    const std::string name = id.toStdString();
    if (const auto own = own_.find(name); own != own_.end()) {
        const bool mine = std::chrono::steady_clock::now() <= own->second;
        own_.erase(own);
        if (mine) return;
    }
    for (const Shortcut& s : bound_)
        if (s.id == name) {
            callback_(s.keyCode, s.modifiers);
            return;
        }
}

bool PortalGlobalShortcuts::binds(KeyCode keyCode, EventFlags modifiers) const {
    return state().state == State::ready && std::any_of(bound_.begin(), bound_.end(), [&](const Shortcut& s) {
               return s.keyCode == keyCode && s.modifiers == modifiers;
           });
}

void PortalGlobalShortcuts::ownStroke(KeyCode keyCode, EventFlags modifiers) {
    for (const Shortcut& s : bound_)
        if (s.keyCode == keyCode && s.modifiers == modifiers)
            own_[s.id] = std::chrono::steady_clock::now() + std::chrono::seconds(1);
}

void PortalGlobalShortcuts::onShortcutsChanged(const QDBusMessage& message) {
    const auto arguments = message.arguments();
    if (state().state != State::ready || arguments.size() < 2) return;
    if (PortalRequest::pathText(arguments[0]) != sessionPath_) return;
    const auto before = triggers_;
    takeTriggers(arguments[1]);
    if (triggers_ != before) log::info("the desktop changed the hotkeys: %s", triggersLine().c_str());
}

std::string PortalGlobalShortcuts::triggersLine() const {
    std::string line;
    for (const auto& [id, trigger] : triggers_)
        line += (line.empty() ? "" : ", ") + id + " " + (trigger.empty() ? "(no keys)" : trigger);
    return line;
}

std::string PortalGlobalShortcuts::triggersText() const {
    std::string text;
    for (const Shortcut& s : shortcuts()) {
        const auto found = triggers_.find(s.id);
        if (found == triggers_.end()) continue;
        text += (text.empty() ? "" : "\n") + (found->second.empty() ? std::string("no keys") : found->second) + ": " +
                s.description;
    }
    return text;
}

void PortalGlobalShortcuts::sessionEnding() {
    if (!portalOwner_.isEmpty()) {
        bus_.disconnect(portalOwner_, portalPath, shortcutsInterface, QStringLiteral("Activated"), this,
                        SLOT(onActivated(QDBusObjectPath, QString, qulonglong, QVariantMap)));
        bus_.disconnect(portalOwner_, portalPath, shortcutsInterface, QStringLiteral("ShortcutsChanged"), this,
                        SLOT(onShortcutsChanged(QDBusMessage)));
    }
    if (!triggers_.empty()) {
        triggers_.clear();
        for (const auto& handler : triggersHandlers_) handler();
    }
}

}  // namespace velko
