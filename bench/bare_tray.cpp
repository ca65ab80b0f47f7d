// The least a Qt tray program holds: a QApplication, a tray icon drawn from an SVG and a menu, the
// same Qt modules the helper links and nothing else. bench/run-memory-bench sets the helper's
// idle memory against it. Prints "ready" once its event loop runs.
#include <QApplication>
#include <QIcon>
#include <QMenu>
#include <QSystemTrayIcon>
#include <QTimer>
#include <cstdio>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QMenu menu;
    menu.addAction(QStringLiteral("Preferences..."));
    menu.addSeparator();
    menu.addAction(QStringLiteral("Quit"), &app, &QApplication::quit);
    QSystemTrayIcon tray;
    if (argc > 1) tray.setIcon(QIcon(QString::fromLocal8Bit(argv[1])));
    tray.setContextMenu(&menu);
    tray.show();
    QTimer::singleShot(0, [] {
        std::puts("ready");
        std::fflush(stdout);
    });
    return app.exec();
}
