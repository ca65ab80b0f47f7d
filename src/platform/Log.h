#pragma once
// One line per event on stderr, "<program>: <text>", written with a single write(2) so that lines of
// threads and of the recognition process never interleave. When stderr is the journal, each line starts
// with its syslog priority ("<4>") so that `journalctl -p warning` sorts them.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace velko::log {

enum class Level { error = 3, warning = 4, info = 6 };

// The name every line starts with; set once at start, before any thread logs.
inline const char*& programName() {
    static const char* name = "velko-helper";
    return name;
}

// systemd names the stream it gave us as "device:inode"; a stderr redirected since then no longer matches.
inline bool stderrIsJournal() {
    const char* stream = std::getenv("JOURNAL_STREAM");
    unsigned long long device = 0, inode = 0;
    if (!stream || std::sscanf(stream, "%llu:%llu", &device, &inode) != 2) return false;
    struct stat status {};
    return fstat(STDERR_FILENO, &status) == 0 && status.st_dev == device && status.st_ino == inode;
}

inline void write(Level level, const char* format, va_list arguments) {
    const int callerErrno = errno;  // a caller may still look at it
    std::string line = stderrIsJournal() ? "<" + std::to_string(static_cast<int>(level)) + ">" : std::string();
    line += programName();
    line += ": ";
    va_list measure;
    va_copy(measure, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, measure);
    va_end(measure);
    if (length > 0) {
        const size_t start = line.size();
        line.resize(start + static_cast<size_t>(length) + 1);
        std::vsnprintf(line.data() + start, static_cast<size_t>(length) + 1, format, arguments);
        line.back() = '\n';
    } else {
        line += '\n';
    }
    for (size_t done = 0; done < line.size();) {
        const ssize_t written = ::write(STDERR_FILENO, line.data() + done, line.size() - done);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) break;  // nowhere left to tell
        done += static_cast<size_t>(written);
    }
    errno = callerErrno;
}

#define VELKO_LOG_LEVEL(name, level)                                          \
    [[gnu::format(printf, 1, 2)]] inline void name(const char* format, ...) { \
        va_list arguments;                                                    \
        va_start(arguments, format);                                          \
        write(level, format, arguments);                                      \
        va_end(arguments);                                                    \
    }
VELKO_LOG_LEVEL(error, Level::error)
VELKO_LOG_LEVEL(warning, Level::warning)
VELKO_LOG_LEVEL(info, Level::info)
#undef VELKO_LOG_LEVEL

}  // namespace velko::log
