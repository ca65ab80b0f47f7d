#include "posix/PosixCaptureJournal.h"
#include "platform/Log.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "posix/SafeFile.h"

namespace velko {
namespace {

// Far beyond any real backlog; a larger file is not ours to trust.
constexpr std::size_t maxJournalBytes = 16 * 1024 * 1024;

std::string stateFolder(const std::string& homeDirectory) {
    const char* xdg = std::getenv("XDG_STATE_HOME");
    if (xdg && xdg[0] == '/') return std::string(xdg) + "/velko-helper";
    return (homeDirectory == "/" ? std::string() : homeDirectory) + "/.local/state/velko-helper";
}

}  // namespace

PosixCaptureJournal::PosixCaptureJournal(const std::string& homeDirectory)
    : path_(stateFolder(homeDirectory) + "/pending-captures.json") {}

std::string PosixCaptureJournal::load() {
    const auto read = SafeFile::readRegularFile(path_, maxJournalBytes);
    if (read) return std::string(read->begin(), read->end());
    if (read.cause() != ENOENT)
        log::warning("cannot read the captures left unstaged in %s: %s", path_.c_str(), read.error().c_str());
    return {};
}

bool PosixCaptureJournal::save(const std::string& contents) {
    const std::string folder = path_.substr(0, path_.find_last_of('/'));
    auto saved = SafeFile::createDirectories(folder, 0700);
    if (saved) saved = SafeFile::writeAtomically(path_, std::string_view(contents), 0600);
    // Said once until a save works again: every capture saves, and a full disk stays full a while.
    if (!saved && !failing_)
        log::warning("cannot note the captures not yet staged in %s: %s", path_.c_str(), saved.error().c_str());
    failing_ = !saved;
    return bool(saved);
}

}  // namespace velko
