#pragma once
#include <QDBusConnection>
#include <QObject>
#include <QProcess>
#include <QStringList>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace velko {

// Which of GNOME's input sources the person types with. GNOME Shell moves the source switched to
// to the front of org.gnome.desktop.input-sources mru-sources, and dconf announces each change of
// a setting on the session bus, so the setting is read again (gsettings, without waiting) only
// when it changed. The layout is the source's index among the xkb sources, as in the keymap
// compiled from them; a new list of sources (added, removed, reordered) is a new keymap.
class GnomeInputSources : public QObject {
    Q_OBJECT
public:
    using Changed = std::function<void(std::uint32_t layout)>;
    using Replaced = std::function<void(const std::string& sources)>;

    // sources: `gsettings get org.gnome.desktop.input-sources sources` as read at start. changed is
    // called on the Qt loop with the layout in use once start() has read it, then at every switch;
    // replaced with each new list of sources, before changed hears the layout in it.
    GnomeInputSources(QDBusConnection bus, std::string sources, Changed changed, Replaced replaced = {},
                      QObject* parent = nullptr);
    // Ends a read still running, without a call.
    ~GnomeInputSources() override;

    void start();
    // The session bus was made anew and `bus` reaches it: changes are heard there, and the setting
    // is read again for a switch made while the bus was gone.
    void moveTo(QDBusConnection bus);

    // The index among the xkb sources of sources of the first source of mru, GNOME's way of
    // writing both ("[('xkb', 'de'), ('ibus', 'anthy')]"); nullopt when it is no xkb source of them.
    static std::optional<std::uint32_t> activeLayout(const std::string& sources, const std::string& mru);

private slots:
    void onNotify(const QString& prefix, const QStringList& keys, const QString& tag);

private:
    void read();
    void readDone(const std::string& output);

    QDBusConnection bus_;
    std::string sources_;
    Changed changed_;
    Replaced replaced_;
    QProcess gsettings_;
    bool again_ = false;  // a change came in while the setting was being read
    std::optional<std::uint32_t> layout_;
};

}  // namespace velko
