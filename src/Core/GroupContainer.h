#pragma once
#include <string>
#include <string_view>

#include "Core/HelperConstants.h"

namespace velko {

// The folder the helper shares with Velko under the home directory, and where each shared thing
// lives in it. The one place that spells these paths, for the helper and velkoctl alike.
class GroupContainer {
public:
    // Velko's store: the helper only asks whether it is there.
    static inline const std::string storeFileName = "Velko.store";

    // Trailing slashes of home are dropped, so root's container is /Library/..., not //Library/...
    explicit GroupContainer(std::string_view homeDirectory, std::string_view identifier = AppGroupIdentifier);

    // <home>/Library/Group Containers/<identifier>
    const std::string& path() const { return path_; }
    // The shared defaults suite: <path>/Library/Preferences/<identifier>.plist
    std::string suitePath() const;
    // <path>/Velko.store
    std::string storePath() const;
    // Where staged screenshots wait for Velko: <path>/pending_screenshots
    std::string stagingPath() const;

private:
    std::string identifier_;
    std::string path_;
};

}  // namespace velko
