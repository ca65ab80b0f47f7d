#include "desktoptools/IniValues.h"

#include "gnome/GnomeScreenshotLocation.h"
#include "posix/SafeFile.h"

namespace velko {
namespace {

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r')) text.remove_suffix(1);
    return text;
}

// KConfig's escapes in a value: \s, \t, \n, \r, \\.
std::string unescaped(std::string_view value) {
    std::string out;
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] != '\\' || i + 1 == value.size()) {
            out += value[i];
            continue;
        }
        const char c = value[++i];
        out += c == 's' ? ' ' : c == 't' ? '\t' : c == 'n' ? '\n' : c == 'r' ? '\r' : c;
    }
    return out;
}

}  // namespace

std::optional<std::string> IniValues::folderFromValue(std::string_view value, const std::string& home) {
    std::optional<std::string> path;
    if (value.substr(0, 7) == "file://") {
        value.remove_prefix(7);
        if (value.substr(0, 9) == "localhost") value.remove_prefix(9);
        path = GnomeScreenshotLocation::percentDecoded(value);
    } else {
        path = std::string(value);
    }
    if (!path) return std::nullopt;
    // KConfig expands both in path entries; Spectacle writes them in a hand-made file as written.
    for (std::string_view prefix : {"$HOME", "~"})
        if (path->rfind(prefix, 0) == 0 && (path->size() == prefix.size() || (*path)[prefix.size()] == '/'))
            path = home + path->substr(prefix.size());
    if (path->empty() || path->front() != '/') return std::nullopt;
    while (path->size() > 1 && path->back() == '/') path->pop_back();
    return path;
}

IniValues::IniValues(std::string_view text) {
    std::string group;
    groups_.insert(group);
    while (!text.empty()) {
        const auto end = text.find('\n');
        const std::string_view line = trimmed(text.substr(0, end));
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
        if (line.empty() || line.front() == '#' || line.front() == ';') continue;
        if (line.front() == '[') {
            group = std::string(line.substr(1, line.find(']') - 1));
            groups_.insert(group);
            continue;
        }
        const auto equals = line.find('=');
        if (equals == std::string_view::npos) continue;
        std::string_view key = trimmed(line.substr(0, equals));
        // "key[$e]" carries flags; "key[de]" is a translation, not the value itself.
        if (const auto bracket = key.find('['); bracket != std::string_view::npos) {
            if (key.substr(bracket, 2) != "[$") continue;
            key = key.substr(0, bracket);
        }
        values_[group + "\n" + std::string(key)] = unescaped(trimmed(line.substr(equals + 1)));
    }
}

IniValues IniValues::read(const std::string& path) {
    const auto text = SafeFile::readRegularFile(path, 256 * 1024);
    if (!text) return IniValues({});
    return IniValues(std::string_view(reinterpret_cast<const char*>(text->data()), text->size()));
}

std::string IniValues::picturesDirectory(const std::string& home, const std::string& configDirectory) {
    const auto text = SafeFile::readRegularFile(configDirectory + "/user-dirs.dirs", 64 * 1024);
    std::optional<std::string> pictures;
    if (text)
        pictures = GnomeScreenshotLocation::picturesDirectoryFrom(
            std::string_view(reinterpret_cast<const char*>(text->data()), text->size()), home);
    return pictures.value_or(home + "/Pictures");
}

std::optional<std::string> IniValues::value(const std::string& group, const std::string& key) const {
    const auto found = values_.find(group + "\n" + key);
    if (found == values_.end()) return std::nullopt;
    return found->second;
}

}  // namespace velko
