#include "Core/GroupContainer.h"

namespace velko {

GroupContainer::GroupContainer(std::string_view homeDirectory, std::string_view identifier) : identifier_(identifier) {
    while (!homeDirectory.empty() && homeDirectory.back() == '/') homeDirectory.remove_suffix(1);
    path_ = std::string(homeDirectory) + "/Library/Group Containers/" + identifier_;
}

std::string GroupContainer::suitePath() const { return path_ + "/Library/Preferences/" + identifier_ + ".plist"; }

std::string GroupContainer::storePath() const { return path_ + "/" + storeFileName; }

std::string GroupContainer::stagingPath() const { return path_ + "/pending_screenshots"; }

}  // namespace velko
