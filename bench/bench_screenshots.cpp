// End-to-end figures of the screenshot watcher against a running helper and session bus:
//   file appears -> "velko.screenshot.captured", one capture at a time;
//   a burst of captures at once: time to the last notification, CPU, and the peak memory of the
//   helper and of the velko-ocr it runs.
//   bench_screenshots HELPER IMAGE SCREENSHOT_DIR [captures]
// Run through bench/run-screenshot-bench, which provides HOME, the folder and the bus.
#include <unistd.h>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QSet>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "BenchFigures.h"
#include "NotificationListener.h"

namespace {

using namespace velko::bench;

// Starts a helper and waits until its watcher runs.
bool startHelper(QProcess& process, const QString& helper) {
    process.setProcessChannelMode(QProcess::SeparateChannels);
    process.start(helper, {});
    QByteArray log;
    return waitFor(
        [&] {
            log += process.readAllStandardError();
            return log.contains("for screenshots");
        },
        10000);
}

// A copy of image beside the folder (same filesystem), renamed in so it appears whole at once.
QString stageOutside(const QString& image, const QString& folder, const QString& name) {
    const QString path = folder + "/../.bench-" + name;
    QFile::remove(path);
    QFile::copy(image, path);
    return path;
}

// Fields of /proc/<pid>/stat after the command name, which may hold spaces.
QList<QByteArray> statFields(qint64 pid) {
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly)) return {};
    const QByteArray text = stat.readAll();
    return text.mid(text.lastIndexOf(')') + 2).split(' ');
}

// The processes the helper runs now: velko-ocr while it has text to read. Each thread has its own
// children, and velko-ocr is started from a background one.
QList<qint64> childrenOf(qint64 pid) {
    QList<qint64> pids;
    for (const QString& task :
         QDir(QStringLiteral("/proc/%1/task").arg(pid)).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile file(QStringLiteral("/proc/%1/task/%2/children").arg(pid).arg(task));
        if (!file.open(QIODevice::ReadOnly)) continue;
        for (const auto& field : file.readAll().split(' '))
            if (!field.trimmed().isEmpty()) pids << field.toLongLong();
    }
    return pids;
}

// User plus system CPU time in seconds of the process alone, and of the children it ran (those
// still running and those it has waited for).
std::pair<double, double> cpuSeconds(qint64 pid) {
    const auto tick = static_cast<double>(sysconf(_SC_CLK_TCK));
    const auto fields = statFields(pid);
    if (fields.size() < 15) return {-1, -1};
    double children = static_cast<double>(fields[13].toLongLong() + fields[14].toLongLong()) / tick;
    for (const qint64 child : childrenOf(pid)) {
        const auto childFields = statFields(child);
        if (childFields.size() >= 15)
            children += static_cast<double>(childFields[11].toLongLong() + childFields[12].toLongLong()) / tick;
    }
    return {static_cast<double>(fields[11].toLongLong() + fields[12].toLongLong()) / tick, children};
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc < 4) {
        std::fprintf(stderr, "usage: bench_screenshots HELPER IMAGE SCREENSHOT_DIR [captures]\n");
        return 2;
    }
    const QString helper = QString::fromLocal8Bit(argv[1]);
    const QString image = QString::fromLocal8Bit(argv[2]);
    const QString folder = QString::fromLocal8Bit(argv[3]);
    const int captures = std::max(1, argc > 4 ? std::atoi(argv[4]) : 20);

    NotificationListener notes;
    const QString captured = QStringLiteral("velko.screenshot.captured");
    if (!notes.listen()) {
        std::fprintf(stderr, "bench_screenshots: no session bus\n");
        return 1;
    }

    // One at a time.
    {
        QProcess process;
        if (!startHelper(process, helper)) {
            std::fprintf(stderr, "bench_screenshots: the helper's watcher did not start\n");
            return 1;
        }
        std::vector<double> latencies;
        for (int i = 0; i < captures; ++i) {
            const QString name = QStringLiteral("Screenshot single %1.png").arg(i);
            const QString outside = stageOutside(image, folder, name);
            const auto t0 = Clock::now();
            QFile::rename(outside, folder + "/" + name);
            if (!waitFor([&] { return notes.seen(captured, name); }, 120000)) {
                std::fprintf(stderr, "bench_screenshots: no notification for %s\n", qPrintable(name));
                return 1;
            }
            latencies.push_back(std::chrono::duration<double>(notes.when(captured, name) - t0).count());
        }
        std::printf("file appears -> notification: median %.2f s, min %.2f s, max %.2f s over %d captures\n",
                    percentile(latencies, 0.5), percentile(latencies, 0), percentile(latencies, 1), captures);
        process.terminate();
        process.waitForFinished(5000);
    }

    // All at once, on a fresh helper so that its peak memory is the burst's.
    {
        QProcess process;
        if (!startHelper(process, helper)) return 1;
        const long idle = statusKiB(std::to_string(process.processId()), "VmRSS:");
        const auto cpuBefore = cpuSeconds(process.processId());
        std::vector<std::pair<QString, QString>> files;
        for (int i = 0; i < captures; ++i) {
            const QString name = QStringLiteral("Screenshot burst %1.png").arg(i);
            files.emplace_back(stageOutside(image, folder, name), folder + "/" + name);
        }
        const auto t0 = Clock::now();
        for (const auto& [from, to] : files) QFile::rename(from, to);
        const bool all = waitFor(
            [&] {
                return std::all_of(files.begin(), files.end(), [&](const auto& f) {
                    return notes.seen(captured, f.second.mid(folder.size() + 1));
                });
            },
            600000);
        const double total = std::chrono::duration<double>(Clock::now() - t0).count();
        const auto cpu = cpuSeconds(process.processId());
        long readerPeak = 0;
        for (const qint64 child : childrenOf(process.processId()))
            readerPeak = std::max(readerPeak, statusKiB(std::to_string(child), "VmHWM:"));
        std::printf(
            "%d captures at once: %s in %.2f s, using %.1f s of CPU in the helper and %.1f s in velko-ocr; "
            "helper memory %ld KiB idle, peak %ld KiB; velko-ocr peak %ld KiB\n",
            captures, all ? "all announced" : "NOT all announced", total, cpu.first - cpuBefore.first,
            cpu.second - cpuBefore.second, idle, statusKiB(std::to_string(process.processId()), "VmHWM:"), readerPeak);
        process.terminate();
        process.waitForFinished(5000);
    }
    return 0;
}
