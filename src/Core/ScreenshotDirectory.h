#pragma once
#include <optional>
#include <string>

namespace velko {

class FileSystem;
class ScreenshotLocationSetting;

// Which folder screenshots are taken from: the desktop's setting as written, else ~/Desktop.
class ScreenshotDirectory {
public:
    // The setting's path when it exists, else ~/Desktop (not checked).
    static std::string detect(FileSystem& fileSystem, ScreenshotLocationSetting& setting);
    // detect()'s folder, unless neither it nor ~/Desktop exists: then the setting's absolute path,
    // the one a screenshot tool is likelier to make, is the one to wait for.
    static std::string toWatch(FileSystem& fileSystem, ScreenshotLocationSetting& setting);
    // path with the home directory written as "~", as people read it.
    static std::string shown(const std::string& path, const std::string& home);

private:
    // What the setting says, valid UTF-8 trimmed of white space; nullopt when it says nothing.
    static std::optional<std::string> configuredPath(ScreenshotLocationSetting& setting);
    static std::string chosen(FileSystem& fileSystem, const std::optional<std::string>& configured);
};

}  // namespace velko
