#include "posix/PosixFileSystem.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <vector>

#include "posix/SafeFile.h"

namespace velko {
namespace {

std::string withoutTrailingSlashes(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

std::string passwordDatabaseHome() {
    const long hint = ::sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(hint > 0 ? static_cast<std::size_t>(hint) : 16384);
    for (;;) {
        passwd entry{};
        passwd* found = nullptr;
        const int result = ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found);
        if (result == ERANGE && buffer.size() < (std::size_t{1} << 20)) {
            buffer.resize(buffer.size() * 2);
            continue;
        }
        if (result != 0 || !found || !found->pw_dir) return {};
        return found->pw_dir;
    }
}

}  // namespace

std::string PosixFileSystem::currentHomeDirectory() {
    const char* home = std::getenv("HOME");
    if (home && *home) return withoutTrailingSlashes(home);
    return withoutTrailingSlashes(passwordDatabaseHome());
}

bool PosixFileSystem::exists(const std::string& path) {
    struct stat st {};
    return !path.empty() && ::stat(path.c_str(), &st) == 0;
}

bool PosixFileSystem::createDirectories(const std::string& path) {
    return bool(SafeFile::createDirectories(path, 0700));
}

}  // namespace velko
