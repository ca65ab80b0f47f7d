// velko-test-focus-watch: the accessibility bus's focus as the helper follows it, one line per
// change on standard output: "focus: <application> [terminal] [password]", "focus: unknown", or
// "bus: reached" / "bus: <why not>".
#include <QCoreApplication>
#include <cstdio>

#include "atspi/AtspiFocusTracker.h"

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    velko::AtspiFocusTracker tracker([](bool reached, const std::string& why) {
        std::printf("bus: %s\n", reached ? "reached" : why.c_str());
        std::fflush(stdout);
    });
    tracker.onChange([&tracker] {
        const auto focus = tracker.focus();
        if (!focus)
            std::printf("focus: unknown\n");
        else
            std::printf("focus: %s%s%s\n", focus->application.c_str(), focus->terminal ? " terminal" : "",
                        focus->passwordField ? " password" : "");
        std::fflush(stdout);
    });
    return app.exec();
}
