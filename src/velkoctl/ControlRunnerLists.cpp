#include "velkoctl/ControlRunnerLists.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include "Core/AutoPasteRuleEngine.h"
#include "Core/SharedDataReader.h"
#include "plist/PlistFile.h"
#include "posix/SafeFile.h"
#include "velkoctl/ControlConsole.h"
#include "velkoctl/ControlOutput.h"

namespace velko {

namespace {

using Console = ControlConsole;

// Far more than any list a person keeps, small enough to hold in memory without a thought.
constexpr std::size_t maxInputBytes = std::size_t{64} << 20;

// A file, a pipe (<(...) included) or standard input for "-"; a directory or a huge file is refused.
Result<Bytes> readInput(const std::string& name) {
    const bool standardInput = name == "-";
    const int fd = standardInput ? STDIN_FILENO : ::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) return Failure{std::strerror(errno), errno};
    struct Closer {
        int fd;
        bool owned;
        ~Closer() {
            if (owned) ::close(fd);
        }
    } closer{fd, !standardInput};
    struct stat st {};
    if (::fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) return Failure{"it is a directory", EISDIR};
    Bytes bytes;
    std::uint8_t buffer[65536];
    for (;;) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0) {
            if (errno == EINTR) continue;
            return Failure{std::strerror(errno), errno};
        }
        if (got == 0) break;
        if (bytes.size() + static_cast<std::size_t>(got) > maxInputBytes) return Failure{"larger than 64 MiB", EFBIG};
        bytes.insert(bytes.end(), buffer, buffer + got);
    }
    return bytes;
}

const char* plural(std::size_t n, const char* one, const char* many) { return n == 1 ? one : many; }

const std::string& keyOf(ControlRunnerLists::List list) {
    return list == ControlRunnerLists::List::snippets ? SharedDataReader::triggersKey : AutoPasteRuleEngine::rulesKey;
}

}  // namespace

ControlRunnerLists::ControlRunnerLists(GroupContainer container) : container_(std::move(container)) {}

int ControlRunnerLists::run(List list, const ControlRequest& request) {
    return request.action == "set" ? set(list, request) : show(list, request);
}

int ControlRunnerLists::set(List list, const ControlRequest& request) {
    const std::string source = request.input == "-" ? "standard input" : request.input;
    const auto bytes = readInput(request.input);
    if (!bytes) return Console::fail("cannot read " + source + ": " + bytes.error());

    const auto counted = [](const auto& decoded) -> Result<std::size_t> {
        if (!decoded) return decoded.failure();
        return decoded->size();
    };
    const auto count = list == List::snippets ? counted(SharedDataReader::decodeTriggers(*bytes))
                                              : counted(AutoPasteRuleEngine::decodeRules(*bytes));
    if (!count) return Console::fail(source + ": " + count.error() + "; nothing was written");

    // Stored as given, so the helper reads exactly the bytes that were checked.
    if (!writeSuiteData(keyOf(list), *bytes)) return ControlCommandLine::failed;

    std::string out = "stored " + std::to_string(*count) + " " +
                      (list == List::snippets ? plural(*count, "snippet trigger", "snippet triggers")
                                              : plural(*count, "auto-paste rule", "auto-paste rules")) +
                      " in " + container_.suitePath() + "; the helper reads them when it starts\n";
    struct stat st {};
    if (list == List::snippets && ::stat(container_.storePath().c_str(), &st) != 0)
        out += "note: the helper loads snippet triggers only while Velko's store is there (velkoctl store connect)\n";
    return Console::printed(out);
}

bool ControlRunnerLists::writeSuiteData(const std::string& key, const Bytes& value) {
    const std::string path = container_.suitePath();
    PlistFile suite;
    if (const auto loaded = suite.load(path); !loaded) {
        if (PlistFile::isInvalid(loaded.failure()))
            Console::warn(path + " is not shared settings velkoctl can keep (" + loaded.error() +
                          "); left it untouched");
        else
            Console::warn("cannot read " + path + " (" + loaded.error() + "); left it untouched");
        return false;
    }
    suite.setData(key, value);
    if (const auto made = SafeFile::createDirectories(path.substr(0, path.rfind('/')), 0700); !made) {
        Console::warn("cannot create the folder of " + path + ": " + made.error());
        return false;
    }
    // Velko may have chosen who can read its settings; a new file is private.
    mode_t mode = 0600;
    struct stat st {};
    if (::stat(path.c_str(), &st) == 0) mode = st.st_mode & 07777;
    if (const auto saved = suite.save(path, suite.format(), mode); !saved) {
        Console::warn("cannot write " + path + ": " + saved.error());
        return false;
    }
    return true;
}

int ControlRunnerLists::show(List list, const ControlRequest& request) {
    const std::string path = container_.suitePath();
    PlistFile suite;
    if (const auto loaded = suite.load(path); !loaded)
        return Console::fail("cannot use the shared settings " + path + ": " + loaded.error());
    const auto bytes = suite.data(keyOf(list));
    const std::string unusable = std::string("the stored ") +
                                 (list == List::snippets ? "snippet triggers" : "auto-paste rules") + " are unusable (";
    if (list == List::snippets) {
        const auto triggers =
            bytes ? SharedDataReader::decodeTriggers(*bytes) : std::vector<SharedDataReader::SnippetTrigger>{};
        if (!triggers) return Console::fail(unusable + triggers.error() + "); the helper ignores them all");
        return Console::printed(ControlOutput::triggers(*triggers, request.json));
    }
    const auto rules = bytes ? AutoPasteRuleEngine::decodeRules(*bytes) : std::vector<AutoPasteRuleEngine::PasteRule>{};
    if (!rules) return Console::fail(unusable + rules.error() + "); the helper ignores them all");
    return Console::printed(ControlOutput::rules(*rules, request.json));
}

}  // namespace velko
