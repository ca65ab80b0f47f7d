#pragma once
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace velko {

// The values of a KConfig, QSettings or XfceRc file: "[group]" lines and "key=value" lines, the
// keys before any group in group "". Unreadable lines are skipped; the last assignment wins.
class IniValues {
public:
    explicit IniValues(std::string_view text);
    // The file's values; none when it is missing, unreadable or over 256 KiB.
    static IniValues read(const std::string& path);

    // The value with KConfig's escapes (\s, \t, \n, \r, \\) undone; nullopt when not set.
    std::optional<std::string> value(const std::string& group, const std::string& key) const;
    bool hasGroup(const std::string& group) const { return groups_.count(group) != 0; }

    // The folder a saving tool's value names: a local file URI (percent-decoded), an absolute
    // path, or one under "~" or "$HOME", without trailing slashes; nullopt for anything else.
    static std::optional<std::string> folderFromValue(std::string_view value, const std::string& home);

    // XDG_PICTURES_DIR from <configDirectory>/user-dirs.dirs, else ~/Pictures: where the tools
    // save when nothing else is set.
    static std::string picturesDirectory(const std::string& home, const std::string& configDirectory);

private:
    std::map<std::string, std::string> values_;  // "group\nkey"
    std::set<std::string> groups_;
};

}  // namespace velko
