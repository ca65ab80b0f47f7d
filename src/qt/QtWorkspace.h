#pragma once
#include "platform/Workspace.h"

namespace velko {

class QtWorkspace : public Workspace {
public:
    bool openURL(const std::string& url) override;
    std::string accessibilitySettingsAddress() override;
    std::string websiteAddress() override;
    std::optional<std::string> bundleInfoString(const std::string& key) override;
};

}  // namespace velko
