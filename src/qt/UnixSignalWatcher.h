#pragma once
#include <QObject>
#include <functional>

class QSocketNotifier;

namespace velko {

// SIGTERM and SIGINT end the main loop cleanly: the handler only writes to a pipe,
// and the work happens on the main loop when the pipe becomes readable.
class UnixSignalWatcher : public QObject {
    Q_OBJECT
public:
    explicit UnixSignalWatcher(std::function<void(int)> onSignal, QObject* parent = nullptr);
    ~UnixSignalWatcher() override;

private:
    static void handle(int signal);
    void drain();

    std::function<void(int)> onSignal_;
    QSocketNotifier* notifier_ = nullptr;
};

}  // namespace velko
