#pragma once
#include <memory>

namespace velko {

// The window's model belongs to the views; the window system only draws it.
struct PreferencesWindowModel;
class ButtonTarget;

// A window built once from its model; closing it only hides it.
class Window {
public:
    virtual ~Window() = default;
    // Whether it is on screen now; false once the user has closed it.
    virtual bool isVisible() = 0;
    // Centres it on the screen it will appear on.
    virtual void center() = 0;
    // Shows it above normal windows without taking the keyboard focus from the user's window.
    virtual void orderFrontRegardless() = 0;
};

class WindowSystem {
public:
    virtual ~WindowSystem() = default;
    // A new hidden window drawing the model; its buttons are performed on target.
    // nullptr when there is no screen to show it on.
    virtual std::unique_ptr<Window> makePreferencesWindow(const PreferencesWindowModel& model,
                                                          ButtonTarget& target) = 0;
};

}  // namespace velko
