#pragma once
// A private Xvfb and a QGuiApplication on it, started once per test process, for tests of the
// Linux layer against a real X server. Skips when Xvfb is not installed.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QProcess>
#include <cstdlib>
#include <functional>
#include <string>

namespace velko::test {

class PrivateDisplay {
public:
    // False when no X server could be started.
    static bool ensure() {
        static PrivateDisplay display;
        return display.ok_;
    }

    // Pumps the Qt loop until condition holds; false after ten seconds.
    static bool waitUntil(const std::function<bool()>& condition, int timeoutMs = 10000) {
        QElapsedTimer timer;
        timer.start();
        while (!condition()) {
            if (timer.elapsed() > timeoutMs) return false;
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        }
        return true;
    }
    // Polls without running the Qt loop.
    static bool waitWithoutLoop(const std::function<bool()>& condition) {
        for (int i = 0; i < 1000; ++i) {
            if (condition()) return true;
            ::usleep(10000);
        }
        return false;
    }
    static void pump(int ms) {
        waitUntil([] { return false; }, ms);
    }

    // Runs a shell command while the Qt loop keeps serving (the helper may own the selection
    // the command reads); its standard output.
    static std::string run(const std::string& command) {
        QProcess process;
        process.start("sh", {"-c", QString::fromStdString(command)});
        waitUntil([&] { return process.state() == QProcess::NotRunning; });
        return process.readAllStandardOutput().toStdString();
    }

private:
    PrivateDisplay() {
        int fds[2];
        if (::pipe(fds) != 0) return;
        pid_ = ::fork();
        if (pid_ == 0) {
            ::close(fds[0]);
            const std::string fd = std::to_string(fds[1]);
            ::execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", "640x480x24", "-nolisten", "tcp",
                     static_cast<char*>(nullptr));
            ::_exit(127);
        }
        ::close(fds[1]);
        // Xvfb writes the number and the newline separately and dies if the pipe closes between.
        std::string number;
        char c = 0;
        while (::read(fds[0], &c, 1) == 1 && c != '\n') number += c;
        ::close(fds[0]);
        if (number.empty()) return;
        ::setenv("DISPLAY", (":" + number).c_str(), 1);
        ::setenv("QT_QPA_PLATFORM", "xcb", 1);
        static int argc = 1;
        static char name[] = "backend_tests";
        static char* argv[] = {name, nullptr};
        app_ = new QGuiApplication(argc, argv);
        ok_ = true;
    }
    ~PrivateDisplay() {
        if (pid_ > 0) {
            ::kill(pid_, SIGTERM);
            ::waitpid(pid_, nullptr, 0);
        }
    }

    pid_t pid_ = -1;
    bool ok_ = false;
    QGuiApplication* app_ = nullptr;  // lives until the process ends, as Qt expects
};

}  // namespace velko::test
