#include "Core/ScreenshotDirectory.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <string_view>

#include "platform/FileSystem.h"
#include "platform/ScreenshotLocationSetting.h"

namespace velko {
namespace {

// The Unicode white space and line breaks at both ends trimmed; nullopt when it is not UTF-8.
std::optional<std::string> trimmedUtf8(std::string_view text) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
    const auto length = static_cast<int32_t>(text.size());
    int32_t begin = 0, end = 0;
    bool blank = true;
    for (int32_t i = 0; i < length;) {
        const int32_t at = i;
        UChar32 c;
        U8_NEXT(bytes, i, length, c);
        if (c < 0) return std::nullopt;
        if (u_isUWhiteSpace(c)) continue;
        if (blank) begin = at;
        blank = false;
        end = i;
    }
    return std::string(text.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin)));
}

}  // namespace

std::optional<std::string> ScreenshotDirectory::configuredPath(ScreenshotLocationSetting& setting) {
    const auto output = setting.configuredLocation();
    if (!output) return std::nullopt;
    // Used as written: "~" and relative paths mean nothing here and fall back.
    auto path = trimmedUtf8(std::string_view(reinterpret_cast<const char*>(output->data()), output->size()));
    if (!path || path->empty()) return std::nullopt;
    return path;
}

std::string ScreenshotDirectory::chosen(FileSystem& fileSystem, const std::optional<std::string>& configured) {
    if (configured && fileSystem.exists(*configured)) return *configured;
    const std::string home = fileSystem.homeDirectory();
    return home + (!home.empty() && home.back() == '/' ? "Desktop" : "/Desktop");
}

std::string ScreenshotDirectory::detect(FileSystem& fileSystem, ScreenshotLocationSetting& setting) {
    return chosen(fileSystem, configuredPath(setting));
}

std::string ScreenshotDirectory::toWatch(FileSystem& fileSystem, ScreenshotLocationSetting& setting) {
    const auto configured = configuredPath(setting);
    std::string directory = chosen(fileSystem, configured);
    if (!fileSystem.exists(directory) && configured && configured->front() == '/') return *configured;
    return directory;
}

std::string ScreenshotDirectory::shown(const std::string& path, const std::string& home) {
    if (home.size() > 1 && path.size() > home.size() && path.compare(0, home.size(), home) == 0 &&
        path[home.size()] == '/')
        return "~" + path.substr(home.size());
    return path;
}

}  // namespace velko
