#pragma once
#include "platform/UserSession.h"

namespace velko {

// The account from the password database, the locale from the environment's LC_TIME rules; the
// time zone is left to ICU, which follows TZ and /etc/localtime.
class PosixUserSession : public UserSession {
public:
    std::string accountName() override;
    std::string fullName() override;
    double currentTime() override;
    std::string formattingLocale() override;
    std::string timeZone() override { return {}; }

    // "de_DE.UTF-8@euro" -> "de_DE"; "C", "POSIX" and "" -> "" (ICU's default).
    static std::string icuLocale(const std::string& posixLocale);
};

}  // namespace velko
