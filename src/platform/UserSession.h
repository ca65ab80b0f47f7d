#pragma once
#include <string>

namespace velko {

// Who is logged in, their wall clock, and how they like dates written.
class UserSession {
public:
    virtual ~UserSession() = default;
    // The login (short) name; empty when the account cannot be looked up.
    virtual std::string accountName() = 0;
    // The full name as the account records it; the login name when none is recorded.
    virtual std::string fullName() = 0;
    // Seconds since 1970-01-01 UTC on the wall clock.
    virtual double currentTime() = 0;
    // ICU locale identifier for dates and times ("de_DE"); empty for ICU's default.
    virtual std::string formattingLocale() = 0;
    // Olson time zone identifier ("Europe/Berlin"); empty for the system's zone.
    virtual std::string timeZone() = 0;
};

}  // namespace velko
