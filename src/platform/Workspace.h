#pragma once
#include <optional>
#include <string>

namespace velko {

// The desktop around the helper: other applications, URLs, the helper's own bundle.
class Workspace {
public:
    virtual ~Workspace() = default;
    // Hands the URL to the desktop's default handler; false when nothing took it.
    virtual bool openURL(const std::string& url) = 0;
    // The address that explains and grants input access on this desktop.
    virtual std::string accessibilitySettingsAddress() = 0;
    // The product's web page.
    virtual std::string websiteAddress() = 0;
    // A string value of the helper's bundle information; nullopt when missing or not a string.
    virtual std::optional<std::string> bundleInfoString(const std::string& key) = 0;
};

}  // namespace velko
