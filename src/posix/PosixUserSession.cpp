#include "posix/PosixUserSession.h"

#include <pwd.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <vector>

namespace velko {
namespace {

// The password entry's login name and GECOS field; both empty when the uid has no entry.
std::pair<std::string, std::string> account() {
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found) return {};
    return {found->pw_name ? found->pw_name : "", found->pw_gecos ? found->pw_gecos : ""};
}

}  // namespace

std::string PosixUserSession::accountName() { return account().first; }

std::string PosixUserSession::fullName() {
    const auto [name, gecos] = account();
    // GECOS is "Full Name,Room,Work Phone,Home Phone,Other"; only the first field is the name.
    const std::string full = gecos.substr(0, gecos.find(','));
    return full.empty() ? name : full;
}

double PosixUserSession::currentTime() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

std::string PosixUserSession::formattingLocale() {
    // The precedence the C library uses for the time category.
    for (const char* variable : {"LC_ALL", "LC_TIME", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value && *value) return icuLocale(value);
    }
    return {};
}

std::string PosixUserSession::icuLocale(const std::string& posixLocale) {
    std::string locale = posixLocale.substr(0, posixLocale.find_first_of(".@"));
    if (locale == "C" || locale == "POSIX") return {};
    return locale;
}

}  // namespace velko
