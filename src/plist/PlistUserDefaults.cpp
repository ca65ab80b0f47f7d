#include "plist/PlistUserDefaults.h"
#include "platform/Log.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <utility>

#include "Core/GroupContainer.h"
#include "plist/PlistDefaultsSuite.h"
#include "plist/PlistFile.h"
#include "posix/PosixFileSystem.h"
#include "posix/SafeFile.h"

namespace velko {
namespace {

void report(const std::string& message) { log::warning("%s", message.c_str()); }

// Never replaces an earlier corrupt copy: each one may be all that is left of the user's settings.
bool renameWithoutReplacing(const std::string& from, const std::string& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
    if (errno != EINVAL && errno != ENOSYS) return false;
    // The filesystem cannot do it atomically; checking first is the best left.
    struct stat st {};
    if (::lstat(to.c_str(), &st) == 0) {
        errno = EEXIST;
        return false;
    }
    return ::rename(from.c_str(), to.c_str()) == 0;
}

Result<std::string> moveAside(const std::string& path) {
    for (int n = 0; n < 100; ++n) {
        std::string aside = path + ".corrupt";
        if (n > 0) aside += "." + std::to_string(n);
        if (renameWithoutReplacing(path, aside)) return aside;
        if (errno != EEXIST) return Failure{std::strerror(errno), errno};
    }
    return Failure{"every .corrupt name is taken", EEXIST};
}

}  // namespace

PlistUserDefaults::PlistUserDefaults(std::string homeDirectory, std::string configDirectory)
    : home_(std::move(homeDirectory)), config_(std::move(configDirectory)) {}

std::unique_ptr<PlistUserDefaults> PlistUserDefaults::fromEnvironment() {
    std::string home = PosixFileSystem::currentHomeDirectory();
    std::string config = configDirectoryFromEnvironment(home);
    return std::make_unique<PlistUserDefaults>(std::move(home), std::move(config));
}

std::string PlistUserDefaults::configDirectoryFromEnvironment(const std::string& homeDirectory) {
    // The XDG rules say a relative path is invalid and must be ignored.
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    if (xdg && xdg[0] == '/') {
        std::string dir(xdg);
        while (dir.size() > 1 && dir.back() == '/') dir.pop_back();
        return dir;
    }
    if (homeDirectory.empty()) return {};
    return (homeDirectory == "/" ? std::string() : homeDirectory) + "/.config";
}

bool PlistUserDefaults::isValidSuiteName(const std::string& suiteName) {
    return !suiteName.empty() && suiteName != "." && suiteName != ".." &&
           suiteName.find_first_of(std::string_view("/\0", 2)) == std::string::npos;
}

std::string PlistUserDefaults::ownDefaultsPath() const {
    return config_ + "/velko-helper/" + std::string(helperDefaultsName) + ".plist";
}

std::unique_ptr<DefaultsSuite> PlistUserDefaults::openSuite(const std::string& suiteName) {
    if (!isValidSuiteName(suiteName)) return nullptr;
    try {
        return std::make_unique<PlistDefaultsSuite>(GroupContainer(home_, suiteName).suitePath());
    } catch (...) {
        return nullptr;
    }
}

bool PlistUserDefaults::setBool(const std::string& key, bool value) {
    return store(key, [&](PlistFile& file) { return file.setBool(key, value); });
}

bool PlistUserDefaults::setString(const std::string& key, const std::string& value) {
    return store(key, [&](PlistFile& file) { return file.setString(key, value); });
}

std::optional<std::string> PlistUserDefaults::ownString(const std::string& key) const {
    if (config_.empty()) return std::nullopt;
    PlistFile file;
    const auto loaded = file.load(ownDefaultsPath());
    if (!loaded || !*loaded) return std::nullopt;
    return file.stringValue(key);
}

bool PlistUserDefaults::store(const std::string& key, const std::function<bool(PlistFile&)>& set) {
    try {
        if (config_.empty()) {
            report("cannot store " + key + ": no home or configuration directory is known");
            return false;
        }
        const std::string path = ownDefaultsPath();
        if (const auto made = SafeFile::createDirectories(config_ + "/velko-helper", 0700); !made) {
            report("cannot store " + key + ": " + made.error());
            return false;
        }

        PlistFile file;
        if (const auto loaded = file.load(path); !loaded) {
            if (!PlistFile::isInvalid(loaded.failure())) {
                report("cannot read " + path + " (" + loaded.error() + "); left it untouched");
                return false;
            }
            const auto aside = moveAside(path);
            if (!aside) {
                report(path + " is unusable (" + loaded.error() + ") and could not be moved aside (" + aside.error() +
                       "); left it untouched");
                return false;
            }
            report(path + " was unusable (" + loaded.error() + "); moved it to " + *aside + " and started afresh");
        }

        if (!set(file)) {
            report("cannot store " + key + ": a NUL character in it");
            return false;
        }
        if (const auto saved = file.save(path, PlistFile::Format::xml, 0600); !saved) {
            report("cannot write " + path + ": " + saved.error());
            return false;
        }
        return true;
    } catch (...) {
        // Only allocation can throw here; the file on disk is untouched or completely replaced.
        return false;
    }
}

}  // namespace velko
