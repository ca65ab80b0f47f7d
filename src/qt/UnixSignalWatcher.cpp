#include "qt/UnixSignalWatcher.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <csignal>

namespace velko {

namespace {
int fds[2] = {-1, -1};
}

UnixSignalWatcher::UnixSignalWatcher(std::function<void(int)> onSignal, QObject* parent)
    : QObject(parent), onSignal_(std::move(onSignal)) {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, fds) != 0) return;
    notifier_ = new QSocketNotifier(fds[1], QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, &UnixSignalWatcher::drain);
    struct sigaction action {};
    action.sa_handler = &UnixSignalWatcher::handle;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    // A vanished reader of our pipes must not kill the helper.
    std::signal(SIGPIPE, SIG_IGN);
}

UnixSignalWatcher::~UnixSignalWatcher() {
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGINT, SIG_DFL);
}

void UnixSignalWatcher::handle(int signal) {
    const int saved = errno;
    const unsigned char byte = static_cast<unsigned char>(signal);
    [[maybe_unused]] const auto written = ::write(fds[0], &byte, 1);
    errno = saved;
}

void UnixSignalWatcher::drain() {
    unsigned char byte = 0;
    while (::read(fds[1], &byte, 1) == 1) onSignal_(byte);
}

}  // namespace velko
