#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velko {

class FileSystem;
class Workspace;

// Names the shared defaults suite and, under the home directory, the group container.
inline constexpr std::string_view AppGroupIdentifier = "group.app.velko";

// The vocabulary shared with the main application. None of these strings may change.
struct HelperConstants {
    struct Notification {
        static inline const std::string pasteNow = "velko.paste.now";
        static inline const std::string pastePlain = "velko.paste.plain";
        static inline const std::string pasteMatch = "velko.paste.match";
        static inline const std::string expansionTrigger = "velko.expansion.trigger";
        static inline const std::string ping = "velko.helper.ping";
        static inline const std::string pong = "velko.helper.pong";
        static inline const std::string screenshotCaptured = "velko.screenshot.captured";
        static inline const std::string hotkeyActivated = "helper.hotkey.activated";
        static inline const std::string helperDegraded = "velko.helper.degraded";
    };
    // The hotkeys' binding identifiers, in order; the object of Notification::hotkeyActivated.
    static inline const std::vector<std::string> hotkeyIdentifiers = {"open_popover", "spotlight_launcher",
                                                                      "save_snippet"};

    struct PongPayload {
        std::string version;
        std::int64_t protocolVersion = 0;
        std::vector<std::string> capabilities;
        std::string minVelkoVersion;

        std::string toJson() const;
        // All four keys with their types, or nothing; other keys are ignored.
        static std::optional<PongPayload> fromJson(std::string_view text);
        bool operator==(const PongPayload&) const = default;
    };

    static inline const std::string degradedReason = "accessibility_revoked";
    static inline const std::string fallbackVersion = "1.0.0";
    static inline const std::string bundleVersionKey = "CFBundleShortVersionString";

    static PongPayload currentPong();
    static PongPayload currentPong(Workspace& workspace);

    // The group container's staging directory, created (with its parents) when missing;
    // returned even when that fails.
    static std::string screenshotStagingURL();
    static std::string screenshotStagingURL(FileSystem& fileSystem);
};

}  // namespace velko
