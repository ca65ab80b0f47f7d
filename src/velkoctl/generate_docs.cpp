// Writes velkoctl's manual page and shell completions into a folder, at build time.
#include <fstream>
#include <string>
#include <utility>

#include "platform/Log.h"
#include "velkoctl/ControlCompletion.h"
#include "velkoctl/ControlManPage.h"

int main(int argc, char** argv) {
    velko::log::programName() = "velkoctl-docs";
    if (argc != 3) {
        velko::log::error("usage: velkoctl-docs FOLDER VERSION");
        return 2;
    }
    const std::string folder = argv[1];
    const std::pair<const char*, std::string> files[] = {
        {"/velkoctl.1", velko::ControlManPage::render(argv[2])},
        {"/velkoctl.bash", velko::ControlCompletion::bash()},
        {"/_velkoctl", velko::ControlCompletion::zsh()},
    };
    for (const auto& [name, text] : files) {
        std::ofstream out(folder + name, std::ios::binary | std::ios::trunc);
        if (!(out << text) || !out.flush()) {
            velko::log::error("cannot write %s%s", folder.c_str(), name);
            return 1;
        }
    }
    return 0;
}
