// One phase of bench/run-soak against the running helper, seen from the session bus:
//   bench_soak pings N                   once the helper answers, N pings back to back, each sent
//                                        as soon as the last was answered
//   bench_soak pastes N MS               N paste requests, one every MS ms, cycling now/plain/match
//   bench_soak count NAME N SECONDS CMD  runs CMD and counts the NAME notifications that follow
// Each prints one line of figures; the keys the pastes type are counted by run-soak in the window.
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QEventLoop>
#include <QProcess>
#include <QTimer>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <thread>
#include <vector>

#include "BenchFigures.h"

namespace {

using namespace velko::bench;

class Listener : public QObject {
    Q_OBJECT
public:
    std::map<QString, int> seen;
signals:
    void arrived();
public slots:
    void posted(const QString& name, const QString&) {
        ++seen[name];
        emit arrived();
    }
};

// Runs the loop until condition holds or timeoutMs pass; false on timeout.
template <class Condition>
bool waitFor(Listener& listener, Condition condition, int timeoutMs) {
    if (condition()) return true;
    QEventLoop loop;
    QObject::connect(&listener, &Listener::arrived, &loop, [&] {
        if (condition()) loop.quit();
    });
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    loop.exec();
    return condition();
}

void post(const QString& name) {
    auto message = QDBusMessage::createSignal("/app/velko/Notifications", "app.velko.Notifications", "Posted");
    message << name << QString();
    QDBusConnection::sessionBus().send(message);
}

// Gives late or doubled notifications the time to arrive.
void settle(int ms) {
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

int pings(Listener& listener, int count) {
    const QString pong = QStringLiteral("velko.helper.pong");
    // A signal reaches only who is on the bus when it is sent: a helper on its way back to a new bus
    // (it retries every 2 s) misses what comes before, so ask every 0.2 s until it answers.
    const auto asked = Clock::now();
    int unanswered = 0;
    while (listener.seen[pong] == 0 && ms(Clock::now() - asked) < 10000) {
        post(QStringLiteral("velko.helper.ping"));
        if (!waitFor(
                listener, [&] { return listener.seen[pong] > 0; }, 200))
            ++unanswered;
    }
    if (listener.seen[pong] == 0) {
        std::printf("pings: no answer to %d pings over 10 s; the %d back to back not sent\n", unanswered, count);
        return 0;
    }
    if (unanswered > 0)
        std::printf("pings: answered again after %.1f s; %d pings before that were not\n",
                    ms(Clock::now() - asked) / 1000, unanswered);
    const int first = listener.seen[pong];

    std::vector<double> rounds;
    const auto start = Clock::now();
    for (int i = 0; i < count; ++i) {
        const int before = listener.seen[pong];
        const auto t0 = Clock::now();
        post(QStringLiteral("velko.helper.ping"));
        if (waitFor(
                listener, [&] { return listener.seen[pong] > before; }, 2000))
            rounds.push_back(ms(Clock::now() - t0));
    }
    const double seconds = ms(Clock::now() - start) / 1000;
    settle(500);
    const int extra = std::max(0, listener.seen[pong] - first - static_cast<int>(rounds.size()));
    std::printf("pings: %zu/%d answered, %d answered twice; round trip p50 %.2f ms, p99 %.2f ms, max %.1f ms; %.1f s\n",
                rounds.size(), count, extra, percentile(rounds, 0.5), percentile(rounds, 0.99), percentile(rounds, 1.0),
                seconds);
    return 0;
}

int pastes(Listener& listener, int count, int intervalMs) {
    static const QString kinds[] = {QStringLiteral("velko.paste.now"), QStringLiteral("velko.paste.plain"),
                                    QStringLiteral("velko.paste.match")};
    const auto start = Clock::now();
    for (int i = 0; i < count; ++i) {
        post(kinds[i % 3]);
        settle(intervalMs);
    }
    // Notifications are handled in order: the pong to this ping follows every request.
    const int pongs = listener.seen[QStringLiteral("velko.helper.pong")];
    post(QStringLiteral("velko.helper.ping"));
    const bool handled = waitFor(
        listener, [&] { return listener.seen[QStringLiteral("velko.helper.pong")] > pongs; }, 5000);
    std::printf("pastes: %d requests, one every %d ms, %s; %d degraded notices, %d hotkey notifications; %.1f s\n",
                count, intervalMs, handled ? "all handled" : "no pong after them",
                listener.seen[QStringLiteral("velko.helper.degraded")],
                listener.seen[QStringLiteral("helper.hotkey.activated")], ms(Clock::now() - start) / 1000);
    return 0;
}

int countAfter(Listener& listener, const QString& name, int expected, int seconds, const QStringList& command) {
    const auto start = Clock::now();
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    process.start(command.first(), command.mid(1));
    process.waitForFinished(-1);
    waitFor(
        listener, [&] { return listener.seen[name] >= expected; }, seconds * 1000);
    const double took = ms(Clock::now() - start) / 1000;
    settle(500);
    std::printf("%s: %d/%d in %.1f s\n", qPrintable(name), listener.seen[name], expected, took);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments().mid(1);
    Listener listener;
    if (!QDBusConnection::sessionBus().connect(QString(), "/app/velko/Notifications", "app.velko.Notifications",
                                               "Posted", &listener, SLOT(posted(QString, QString)))) {
        std::fprintf(stderr, "bench_soak: no session bus\n");
        return 1;
    }
    if (args.size() == 2 && args[0] == QLatin1String("pings")) return pings(listener, args[1].toInt());
    if (args.size() == 3 && args[0] == QLatin1String("pastes"))
        return pastes(listener, args[1].toInt(), args[2].toInt());
    if (args.size() >= 5 && args[0] == QLatin1String("count"))
        return countAfter(listener, args[1], args[2].toInt(), args[3].toInt(), args.mid(4));
    std::fprintf(stderr, "usage: bench_soak pings N | pastes N MS | count NAME N SECONDS COMMAND...\n");
    return 2;
}

#include "bench_soak.moc"
