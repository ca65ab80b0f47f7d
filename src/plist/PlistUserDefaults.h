#pragma once
// Defaults kept as property-list files: the shared suites where the main application keeps them
// under the home directory, and the helper's own under the XDG configuration directory.
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/UserDefaults.h"

namespace velko {

class PlistFile;

class PlistUserDefaults : public UserDefaults {
public:
    static constexpr std::string_view helperDefaultsName = "app.velko.helper";

    // Both without a trailing slash; configDirectory is the XDG base (e.g. ~/.config).
    PlistUserDefaults(std::string homeDirectory, std::string configDirectory);
    // The directories of the current user, read from the environment.
    static std::unique_ptr<PlistUserDefaults> fromEnvironment();
    // $XDG_CONFIG_HOME when absolute, else home + "/.config"; empty when home is empty too.
    static std::string configDirectoryFromEnvironment(const std::string& homeDirectory);

    // Rejects what would not stay a single file name: empty, ".", "..", '/' or NUL inside.
    static bool isValidSuiteName(const std::string& suiteName);
    std::string ownDefaultsPath() const;

    std::unique_ptr<DefaultsSuite> openSuite(const std::string& suiteName) override;
    // A file that is not a property-list dictionary is moved aside to "<name>.corrupt" (or
    // ".corrupt.N" when taken) rather than overwritten, and the write starts from empty.
    bool setBool(const std::string& key, bool value) override;
    // A string of the helper's own, such as a portal's restore token; nullopt when missing or unreadable.
    std::optional<std::string> ownString(const std::string& key) const;
    // As setBool: other keys kept, an unusable file moved aside; false on failure, said on stderr.
    bool setString(const std::string& key, const std::string& value);

private:
    bool store(const std::string& key, const std::function<bool(PlistFile&)>& set);

    std::string home_;
    std::string config_;
};

}  // namespace velko
