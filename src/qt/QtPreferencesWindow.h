#pragma once
#include <QStyle>
#include <QWidget>
#include <memory>

#include "Views/PreferencesWindowModel.h"
#include "platform/WindowSystem.h"

namespace velko {

// The preferences window drawn with Qt widgets at the model's exact frames. It floats above
// normal windows and is shown without taking the focus; closing it only hides it.
class QtPreferencesWindow : public Window {
public:
    QtPreferencesWindow(const PreferencesWindowModel& model, ButtonTarget& target);
    ~QtPreferencesWindow() override;

    bool isVisible() override;
    void center() override;
    void orderFrontRegardless() override;

    QWidget& widget() { return *window_; }

private:
    std::unique_ptr<QStyle> style_;  // declared first: the widgets use it until they are gone
    std::unique_ptr<QWidget> window_;
};

}  // namespace velko
