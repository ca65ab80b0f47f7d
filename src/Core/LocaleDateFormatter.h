#pragma once
#include <string>

namespace velko {

// The locale's own date and time styles, through ICU.
class LocaleDateFormatter {
public:
    // Empty strings pick ICU's default locale and the system's time zone; an unknown zone is GMT.
    LocaleDateFormatter(std::string locale, std::string timeZone);

    // "Nov 16, 2026" in en_US; empty if ICU cannot format.
    std::string mediumDate(double secondsSince1970) const;
    // "2:05 PM" in en_US; empty if ICU cannot format.
    std::string shortTime(double secondsSince1970) const;

private:
    std::string format(bool date, double secondsSince1970) const;

    std::string locale_;
    std::string timeZone_;
};

}  // namespace velko
