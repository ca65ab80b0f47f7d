// Shows the real preferences window for one fixed state, so a test can capture it from the X
// server and click its buttons. Prints "shown <window id>" once it is on screen, then the name
// of every button action it receives; runs until killed.
#include <QApplication>
#include <QTimer>
#include <cstdio>
#include <cstring>

#include "qt/QtPreferencesWindow.h"
#include "qt/QtWindowSystem.h"

namespace {
struct Printer : velko::ButtonTarget {
    void perform(velko::ButtonAction action) override {
        std::printf("%s\n", action == velko::ButtonAction::openAccessibility ? "openAccessibility" : "openWebsite");
        std::fflush(stdout);
    }
};
}  // namespace

int main(int argc, char** argv) {
    const bool granted = argc > 1 && std::strcmp(argv[1], "granted") == 0;
    QApplication app(argc, argv);

    velko::PreferencesWindowModel::Inputs inputs;
    inputs.bundleVersion = "2.4.1";
    inputs.accessibilityGranted = granted;
    inputs.mainApplicationPresent = granted;
    inputs.features = velko::PreferencesWindowModel::features(granted, granted, true);
    inputs.ruleCount = granted ? 3 : 0;
    if (granted)
        inputs.backends = {
            {"Input", "X11 (XTEST)", ""}, {"Hotkeys", "X11 grabs", ""}, {"Typed keys", "X11 RECORD", ""}};
    else  // as in a Wayland session with the desktop's shortcuts and no readable keyboard
        inputs.backends = {{"Input", "off", ""},
                           {"Hotkeys", "desktop portal", "",
                            "CTRL+SHIFT+V: Open the Velko clipboard history\nCTRL+SHIFT+space: Search Velko\n"
                            "no keys: Save the selection as a Velko snippet"},
                           {"Typed keys", "off", "",
                            "Typed keys are read from the keyboards, which only members of the input group may "
                            "do: sudo usermod -aG input $USER, then log in again. Every program you run can then "
                            "read every key typed in this session. To undo: sudo gpasswd -d $USER input, then log "
                            "in again."}};

    Printer printer;
    velko::QtWindowSystem windows;
    auto window = windows.makePreferencesWindow(velko::PreferencesWindowModel::build(inputs), printer);
    if (!window) {
        std::fputs("no display\n", stderr);
        return 1;
    }
    window->center();
    window->orderFrontRegardless();
    auto& widget = static_cast<velko::QtPreferencesWindow&>(*window).widget();
    // Reported after the first paint has reached the server.
    QTimer::singleShot(300, [&widget] {
        widget.repaint();
        std::printf("shown 0x%llx\n", static_cast<unsigned long long>(widget.winId()));
        std::fflush(stdout);
    });
    return app.exec();
}
