#pragma once
#include <memory>
#include <optional>
#include <string>

#include "platform/Types.h"

namespace velko {

// One defaults suite shared with the main application, read-only for the helper.
class DefaultsSuite {
public:
    virtual ~DefaultsSuite() = default;
    // The bytes of the data value under key; nullopt when missing or of another type.
    virtual std::optional<Bytes> data(const std::string& key) = 0;
};

class UserDefaults {
public:
    virtual ~UserDefaults() = default;
    // Opens the suite of that name as it is now; nullptr when the platform refuses the name.
    virtual std::unique_ptr<DefaultsSuite> openSuite(const std::string& suiteName) = 0;
    // Writes a Boolean into the helper's own defaults, keeping its other keys; false on failure.
    virtual bool setBool(const std::string& key, bool value) = 0;
};

}  // namespace velko
