#include "velkoctl/ControlRunner.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusError>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <vector>

#include "Core/AutoPasteRuleEngine.h"
#include "Core/GroupContainer.h"
#include "Core/HelperConstants.h"
#include "Core/SharedDataReader.h"
#include "Core/StagedScreenshot.h"
#include "dbus/DBusNotificationCenter.h"
#include "plist/PlistFile.h"
#include "posix/SafeFile.h"
#include "posix/SteadyClock.h"
#include "qt/QtMainQueue.h"
#include "qt/UnixSignalWatcher.h"
#include "velkoctl/ControlOutput.h"
#include "velkoctl/LinkClient.h"

namespace velko {

namespace {

using Code = ControlCommandLine::ExitCode;
using Command = ControlCommandLine::Command;

// Far more than any list a person keeps, small enough to hold in memory without a thought.
constexpr std::size_t maxInputBytes = std::size_t{64} << 20;
constexpr std::size_t maxMetadataBytes = std::size_t{16} << 20;

int fail(const std::string& message, int code = Code::failed) {
    std::string line = message;
    std::replace(line.begin(), line.end(), '\n', ' ');
    std::fprintf(stderr, "velkoctl: %s\n", line.c_str());
    return code;
}

void warn(const std::string& message) { fail(message); }

bool print(const std::string& text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
        fail(std::string("cannot write the output: ") + std::strerror(errno));
        return false;
    }
    return true;
}

int printed(const std::string& text) { return print(text) ? Code::done : Code::failed; }

std::string secondsText(double seconds) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%g s", seconds);
    return buffer;
}

// A file, a pipe (<(...) included) or standard input for "-"; a directory or a huge file is refused.
std::optional<Bytes> readInput(const std::string& name, std::string& why) {
    const bool standardInput = name == "-";
    const int fd = standardInput ? STDIN_FILENO : ::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) {
        why = std::strerror(errno);
        return std::nullopt;
    }
    struct Closer {
        int fd;
        bool owned;
        ~Closer() {
            if (owned) ::close(fd);
        }
    } closer{fd, !standardInput};
    struct stat st {};
    if (::fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) {
        why = "it is a directory";
        return std::nullopt;
    }
    Bytes bytes;
    std::uint8_t buffer[65536];
    for (;;) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0) {
            if (errno == EINTR) continue;
            why = std::strerror(errno);
            return std::nullopt;
        }
        if (got == 0) break;
        if (bytes.size() + static_cast<std::size_t>(got) > maxInputBytes) {
            why = "larger than 64 MiB";
            return std::nullopt;
        }
        bytes.insert(bytes.end(), buffer, buffer + got);
    }
    return bytes;
}

const char* plural(std::size_t n, const char* one, const char* many) { return n == 1 ? one : many; }

}  // namespace

ControlRunner::ControlRunner(std::string homeDirectory) : home_(std::move(homeDirectory)) {}
ControlRunner::~ControlRunner() = default;

std::string ControlRunner::groupContainer() const { return GroupContainer(home_).path(); }
std::string ControlRunner::suitePath() const { return GroupContainer(home_).suitePath(); }
std::string ControlRunner::storePath() const { return GroupContainer(home_).storePath(); }

int ControlRunner::run(const Request& request) {
    const bool needsHome =
        request.command != Command::ping && request.command != Command::paste && request.command != Command::watch;
    if (needsHome && home_.empty())
        return fail("cannot tell the home directory: HOME is unset and you have no passwd entry");
    switch (request.command) {
        case Command::help:
            return printed(ControlCommandLine::help(request.topic));
        case Command::version:
            return printed(std::string("velkoctl ") + VELKO_VERSION + "\n");
        case Command::ping:
            return ping(request);
        case Command::paste:
            return paste(request);
        case Command::watch:
            return watch(request);
        case Command::snippetsSet:
            return setList(List::snippets, request);
        case Command::rulesSet:
            return setList(List::rules, request);
        case Command::snippetsList:
            return showList(List::snippets, request);
        case Command::rulesList:
            return showList(List::rules, request);
        case Command::storeConnect:
        case Command::storeDisconnect:
        case Command::storeStatus:
            return store(request);
        case Command::screenshots:
            return screenshots(request);
    }
    return Code::failed;
}

std::unique_ptr<DBusNotificationCenter> ControlRunner::openLink() {
    // Tried on a connection of its own first: a missing bus is then one plain line from us,
    // not the helper's notice that it keeps retrying.
    const QString probeName = QStringLiteral("velkoctl-probe");
    bool reachable = false;
    QString why;
    {
        const QDBusConnection probe = QDBusConnection::connectToBus(QDBusConnection::SessionBus, probeName);
        reachable = probe.isConnected();
        if (!reachable) why = probe.lastError().message();
    }
    QDBusConnection::disconnectFromBus(probeName);
    if (!reachable) {
        const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
        fail("cannot reach the session bus (" + why.toStdString() + ")" +
                 (address && *address ? "" : "; DBUS_SESSION_BUS_ADDRESS is not set"),
             Code::noHelper);
        return nullptr;
    }
    return std::make_unique<DBusNotificationCenter>();
}

int ControlRunner::ping(const Request& request) {
    auto link = openLink();
    if (!link) return Code::noHelper;
    QtMainQueue queue;
    SteadyClock clock;
    LinkClient client(*link, queue, clock);
    client.ping(request.timeout, [&request](const LinkClient::Answer& answer) {
        int code = Code::done;
        if (answer.kind == LinkClient::Answer::Kind::none)
            code = fail("no helper answered within " + secondsText(request.timeout) +
                            "; is velko-helper running on this session bus?",
                        Code::noHelper);
        else if (!HelperConstants::PongPayload::fromJson(answer.object))
            code = fail("the answer is not a pong record: " + ControlOutput::escaped(answer.object));
        else
            code = printed(answer.object + "\n" + ControlOutput::roundTrip(answer.roundTrip) + "\n");
        QCoreApplication::exit(code);
    });
    return QCoreApplication::exec();
}

int ControlRunner::paste(const Request& request) {
    auto link = openLink();
    if (!link) return Code::noHelper;
    QtMainQueue queue;
    SteadyClock clock;
    LinkClient client(*link, queue, clock);
    client.paste(request.pasteNotification, request.timeout, [&request](const LinkClient::Answer& answer) {
        int code = Code::done;
        switch (answer.kind) {
            case LinkClient::Answer::Kind::none:
                code = fail("no helper answered within " + secondsText(request.timeout) +
                                "; is velko-helper running on this session bus?",
                            Code::noHelper);
                break;
            case LinkClient::Answer::Kind::degraded:
                code = fail("the helper has no input access (" + ControlOutput::escaped(answer.object) +
                            "); nothing was pasted");
                break;
            case LinkClient::Answer::Kind::pong:
                code = printed(request.pasteNotification + " taken: the helper presses " + request.pasteKeys +
                               " in the focused window, if there is one\n");
                break;
        }
        QCoreApplication::exit(code);
    });
    return QCoreApplication::exec();
}

int ControlRunner::watch(const Request& request) {
    auto link = openLink();
    if (!link) return Code::noHelper;
    UnixSignalWatcher interruptions([](int) { QCoreApplication::exit(Code::done); });
    // Like cat: a reader that goes away (velkoctl watch | head) ends the watch quietly.
    std::signal(SIGPIPE, SIG_DFL);
    const bool json = request.json;
    link->observeAll([json](const std::string& name, const std::string& object) {
        if (!print(ControlOutput::notification(name, object, std::chrono::system_clock::now(), json)))
            QCoreApplication::exit(Code::failed);
    });
    if (!link->sync()) return fail("lost the session bus before the watch was in place", Code::noHelper);
    std::fputs("velkoctl: watching the link; Ctrl+C stops\n", stderr);
    return QCoreApplication::exec();
}

int ControlRunner::setList(List list, const Request& request) {
    const std::string source = request.input == "-" ? "standard input" : request.input;
    std::string why;
    const auto bytes = readInput(request.input, why);
    if (!bytes) return fail("cannot read " + source + ": " + why);

    std::size_t count = 0;
    bool valid = false;
    if (list == List::snippets) {
        std::vector<SharedDataReader::SnippetTrigger> triggers;
        valid = SharedDataReader::decodeTriggers(*bytes, triggers, why);
        count = triggers.size();
    } else {
        std::vector<AutoPasteRuleEngine::PasteRule> rules;
        valid = AutoPasteRuleEngine::decodeRules(*bytes, rules, why);
        count = rules.size();
    }
    if (!valid) return fail(source + ": " + why + "; nothing was written");

    // Stored as given, so the helper reads exactly the bytes that were checked.
    const std::string& key = list == List::snippets ? SharedDataReader::triggersKey : AutoPasteRuleEngine::rulesKey;
    if (!writeSuiteData(key, *bytes)) return Code::failed;

    std::string out = "stored " + std::to_string(count) + " " +
                      (list == List::snippets ? plural(count, "snippet trigger", "snippet triggers")
                                              : plural(count, "auto-paste rule", "auto-paste rules")) +
                      " in " + suitePath() + "; the helper reads them when it starts\n";
    struct stat st {};
    if (list == List::snippets && ::stat(storePath().c_str(), &st) != 0)
        out += "note: the helper loads snippet triggers only while Velko's store is there (velkoctl store connect)\n";
    return printed(out);
}

bool ControlRunner::writeSuiteData(const std::string& key, const Bytes& value) {
    const std::string path = suitePath();
    PlistFile suite;
    if (const auto loaded = suite.load(path); !loaded) {
        if (PlistFile::isInvalid(loaded.failure()))
            warn(path + " is not shared settings velkoctl can keep (" + loaded.error() + "); left it untouched");
        else
            warn("cannot read " + path + " (" + loaded.error() + "); left it untouched");
        return false;
    }
    suite.setData(key, value);
    if (const auto made = SafeFile::createDirectories(path.substr(0, path.rfind('/')), 0700); !made) {
        fail("cannot create the folder of " + path + ": " + made.error());
        return false;
    }
    // Velko may have chosen who can read its settings; a new file is private.
    mode_t mode = 0600;
    struct stat st {};
    if (::stat(path.c_str(), &st) == 0) mode = st.st_mode & 07777;
    if (const auto saved = suite.save(path, suite.format(), mode); !saved) {
        fail("cannot write " + path + ": " + saved.error());
        return false;
    }
    return true;
}

int ControlRunner::showList(List list, const Request& request) {
    const std::string path = suitePath();
    PlistFile suite;
    if (const auto loaded = suite.load(path); !loaded)
        return fail("cannot use the shared settings " + path + ": " + loaded.error());
    std::string why;
    const bool snippets = list == List::snippets;
    const auto bytes = suite.data(snippets ? SharedDataReader::triggersKey : AutoPasteRuleEngine::rulesKey);
    const char* what = snippets ? "snippet triggers" : "auto-paste rules";
    if (snippets) {
        std::vector<SharedDataReader::SnippetTrigger> triggers;
        if (bytes && !SharedDataReader::decodeTriggers(*bytes, triggers, why))
            return fail(std::string("the stored ") + what + " are unusable (" + why + "); the helper ignores them all");
        return printed(ControlOutput::triggers(triggers, request.json));
    }
    std::vector<AutoPasteRuleEngine::PasteRule> rules;
    if (bytes && !AutoPasteRuleEngine::decodeRules(*bytes, rules, why))
        return fail(std::string("the stored ") + what + " are unusable (" + why + "); the helper ignores them all");
    return printed(ControlOutput::rules(rules, request.json));
}

int ControlRunner::store(const Request& request) {
    const std::string path = storePath();
    struct stat st {};
    switch (request.command) {
        case Command::storeStatus:
            // As the helper tests it: whatever is there, links followed.
            if (::stat(path.c_str(), &st) == 0) return printed("connected: " + path + " is there\n");
            return printed("not connected: no " + path + "\n");
        case Command::storeConnect: {
            if (::stat(path.c_str(), &st) == 0) return printed("already connected: " + path + " is there\n");
            if (const auto made = SafeFile::createDirectories(groupContainer(), 0700); !made)
                return fail("cannot create " + groupContainer() + ": " + made.error());
            const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOCTTY, 0600);
            if (fd < 0) return fail("cannot create " + path + ": " + std::strerror(errno));
            ::close(fd);
            return printed("connected: created " + path + "; the helper shows Velko as connected within 5 s\n");
        }
        case Command::storeDisconnect: {
            if (::lstat(path.c_str(), &st) != 0) {
                if (errno == ENOENT) return printed("already disconnected: no " + path + "\n");
                return fail("cannot look at " + path + ": " + std::strerror(errno));
            }
            // Only the empty marker goes: anything else may be Velko's real store.
            if (!S_ISREG(st.st_mode) || st.st_size != 0)
                return fail(path + " is not an empty marker file (it may be Velko's own store); left it in place");
            if (::unlink(path.c_str()) != 0) return fail("cannot remove " + path + ": " + std::strerror(errno));
            return printed("disconnected: removed " + path + "\n");
        }
        default:
            return Code::failed;
    }
}

int ControlRunner::screenshots(const Request& request) {
    namespace fs = std::filesystem;
    const fs::path folder = GroupContainer(home_).stagingPath();
    std::vector<StagedScreenshot> staged;
    std::error_code error;
    fs::directory_iterator it(folder, error);
    if (error) {
        if (error == std::errc::no_such_file_or_directory) return printed(ControlOutput::screenshots({}, request.json));
        return fail("cannot read the staging folder " + folder.string() + ": " + error.message());
    }
    for (; it != fs::directory_iterator(); it.increment(error)) {
        const std::string name = it->path().filename().string();
        if (name.starts_with(".") || !name.ends_with(".json") || name.size() == 5) continue;
        const std::string identifier = name.substr(0, name.size() - 5);
        const auto bytes = SafeFile::readRegularFile(it->path().string(), maxMetadataBytes);
        if (!bytes) {
            warn("skipping " + ControlOutput::escaped(name) + ": " + bytes.error());
            continue;
        }
        auto screenshot = StagedScreenshot::fromMetadata(identifier, *bytes);
        if (!screenshot) {
            warn("skipping " + ControlOutput::escaped(name) + ": " + screenshot.error());
            continue;
        }
        struct stat st {};
        if (::stat((folder / (identifier + ".data")).c_str(), &st) != 0) {
            warn("skipping " + ControlOutput::escaped(name) + ": no " + ControlOutput::escaped(identifier) +
                 ".data beside it");
            continue;
        }
        staged.push_back(std::move(*screenshot));
    }
    if (error) return fail("cannot read the staging folder " + folder.string() + ": " + error.message());
    std::sort(staged.begin(), staged.end());
    return printed(ControlOutput::screenshots(staged, request.json));
}

}  // namespace velko
