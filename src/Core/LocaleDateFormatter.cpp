#include "Core/LocaleDateFormatter.h"

#include <unicode/datefmt.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <memory>

namespace velko {

LocaleDateFormatter::LocaleDateFormatter(std::string locale, std::string timeZone)
    : locale_(std::move(locale)), timeZone_(std::move(timeZone)) {}

std::string LocaleDateFormatter::mediumDate(double secondsSince1970) const { return format(true, secondsSince1970); }
std::string LocaleDateFormatter::shortTime(double secondsSince1970) const { return format(false, secondsSince1970); }

std::string LocaleDateFormatter::format(bool date, double secondsSince1970) const {
    const icu::Locale locale = locale_.empty() ? icu::Locale::getDefault() : icu::Locale(locale_.c_str());
    std::unique_ptr<icu::DateFormat> formatter(
        date ? icu::DateFormat::createDateInstance(icu::DateFormat::kMedium, locale)
             : icu::DateFormat::createTimeInstance(icu::DateFormat::kShort, locale));
    if (!formatter) return {};
    formatter->adoptTimeZone(timeZone_.empty()
                                 ? icu::TimeZone::createDefault()
                                 : icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(timeZone_)));
    icu::UnicodeString text;
    formatter->format(secondsSince1970 * 1000.0, text);
    std::string out;
    return text.toUTF8String(out);
}

}  // namespace velko
