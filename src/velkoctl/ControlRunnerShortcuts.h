#pragma once
#include <string>
#include <string_view>
#include <vector>

#include "platform/Result.h"
#include "velkoctl/ControlRequest.h"

namespace velko {

// gnome-shortcuts: the helper's hotkeys in GNOME's custom keyboard shortcuts, written with
// gsettings as GNOME Settings writes them. Returns the exit status.
class ControlRunnerShortcuts {
public:
    // velkoctl: the path the shortcuts' commands run.
    explicit ControlRunnerShortcuts(std::string velkoctl);

    int run(const ControlRequest& request);

private:
    // gsettings' output, or what it said when it failed.
    static Result<std::string> gsettings(const std::vector<std::string>& arguments);
    static std::string entrySchema(std::string_view path);

    int add(const std::vector<std::string>& paths);
    int remove(const std::vector<std::string>& paths);
    int list(const std::vector<std::string>& paths);

    std::string velkoctl_;
};

}  // namespace velko
