#pragma once
#include <QDBusConnection>
#include <QObject>
#include <cstdint>
#include <functional>
#include <optional>

namespace velko {

// Which of Plasma's keyboard layouts is in use: KWin announces every switch on the session bus
// (org.kde.keyboard /Layouts, layoutChanged) with the layout's index in the list of the keyboard
// settings, the order of the keymap's layouts.
class PlasmaKeyboardLayouts : public QObject {
    Q_OBJECT
public:
    using Changed = std::function<void(std::uint32_t layout)>;

    // changed is called on the Qt loop with the layout in use once start() has asked for it, then
    // at every switch; listChanged, when set, each time KWin took a new list of layouts (its keymap
    // changed with it).
    PlasmaKeyboardLayouts(QDBusConnection bus, Changed changed, std::function<void()> listChanged = {},
                          QObject* parent = nullptr);

    void start();
    // The session bus was made anew and `bus` reaches it: the switches are followed there, starting
    // with the layout in use now.
    void moveTo(QDBusConnection bus);

private slots:
    void onLayoutChanged(uint layout);
    void onLayoutListChanged();

private:
    void take(std::uint32_t layout);

    QDBusConnection bus_;
    Changed changed_;
    std::function<void()> listChanged_;
    std::optional<std::uint32_t> layout_;
    unsigned announced_ = 0;  // switches heard of so far
};

}  // namespace velko
