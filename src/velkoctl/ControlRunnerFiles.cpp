#include "velkoctl/ControlRunnerFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>
#include <vector>

#include "Core/StagedScreenshot.h"
#include "posix/SafeFile.h"
#include "velkoctl/ControlConsole.h"
#include "velkoctl/ControlOutput.h"

namespace velko {

namespace {

using Console = ControlConsole;

constexpr std::size_t maxMetadataBytes = std::size_t{16} << 20;

}  // namespace

ControlRunnerFiles::ControlRunnerFiles(GroupContainer container) : container_(std::move(container)) {}

int ControlRunnerFiles::store(const ControlRequest& request) {
    const std::string path = container_.storePath();
    struct stat st {};
    if (request.action == "status") {
        // As the helper tests it: whatever is there, links followed.
        if (::stat(path.c_str(), &st) == 0) return Console::printed("connected: " + path + " is there\n");
        return Console::printed("not connected: no " + path + "\n");
    }
    if (request.action == "connect") {
        if (::stat(path.c_str(), &st) == 0) return Console::printed("already connected: " + path + " is there\n");
        if (const auto made = SafeFile::createDirectories(container_.path(), 0700); !made)
            return Console::fail("cannot create " + container_.path() + ": " + made.error());
        const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOCTTY, 0600);
        if (fd < 0) return Console::fail("cannot create " + path + ": " + std::strerror(errno));
        ::close(fd);
        return Console::printed("connected: created " + path + "; the helper shows Velko as connected within 5 s\n");
    }
    if (::lstat(path.c_str(), &st) != 0) {
        if (errno == ENOENT) return Console::printed("already disconnected: no " + path + "\n");
        return Console::fail("cannot look at " + path + ": " + std::strerror(errno));
    }
    // Only the empty marker goes: anything else may be Velko's real store.
    if (!S_ISREG(st.st_mode) || st.st_size != 0)
        return Console::fail(path + " is not an empty marker file (it may be Velko's own store); left it in place");
    if (::unlink(path.c_str()) != 0) return Console::fail("cannot remove " + path + ": " + std::strerror(errno));
    return Console::printed("disconnected: removed " + path + "\n");
}

int ControlRunnerFiles::screenshots(const ControlRequest& request) {
    namespace fs = std::filesystem;
    const fs::path folder = container_.stagingPath();
    std::vector<StagedScreenshot> staged;
    std::error_code error;
    fs::directory_iterator it(folder, error);
    if (error) {
        if (error == std::errc::no_such_file_or_directory)
            return Console::printed(ControlOutput::screenshots({}, request.json));
        return Console::fail("cannot read the staging folder " + folder.string() + ": " + error.message());
    }
    for (; it != fs::directory_iterator(); it.increment(error)) {
        const std::string name = it->path().filename().string();
        if (name.starts_with(".") || !name.ends_with(".json") || name.size() == 5) continue;
        const std::string identifier = name.substr(0, name.size() - 5);
        const auto bytes = SafeFile::readRegularFile(it->path().string(), maxMetadataBytes);
        auto screenshot = bytes ? StagedScreenshot::fromMetadata(identifier, *bytes) : bytes.failure();
        if (!screenshot) {
            Console::warn("skipping " + ControlOutput::escaped(name) + ": " + screenshot.error());
            continue;
        }
        struct stat st {};
        if (::stat((folder / (identifier + ".data")).c_str(), &st) != 0) {
            Console::warn("skipping " + ControlOutput::escaped(name) + ": no " + ControlOutput::escaped(identifier) +
                          ".data beside it");
            continue;
        }
        staged.push_back(std::move(*screenshot));
    }
    if (error) return Console::fail("cannot read the staging folder " + folder.string() + ": " + error.message());
    std::sort(staged.begin(), staged.end());
    return Console::printed(ControlOutput::screenshots(staged, request.json));
}

}  // namespace velko
