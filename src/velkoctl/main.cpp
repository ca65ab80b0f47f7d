// velkoctl: Velko's side of the link, for people and scripts. Parse, then do one thing.
#include <QCoreApplication>
#include <string>
#include <vector>

#include "platform/Log.h"
#include "posix/PosixFileSystem.h"
#include "velkoctl/ControlCommandLine.h"
#include "velkoctl/ControlRunner.h"

int main(int argc, char** argv) {
    velko::log::programName() = "velkoctl";
    // A command in the table that nothing runs is a build fault: refuse every use, not only its own.
    if (const auto missing = velko::ControlRunner::commandsWithoutRunner(); !missing.empty()) {
        velko::log::error("built without a runner for '%s'", missing.front().c_str());
        return velko::ControlCommandLine::failed;
    }
    const std::vector<std::string> args(argv + 1, argv + argc);
    const auto parsed = velko::ControlCommandLine::parse(args);
    if (!parsed) {
        velko::log::error("%s", parsed.error().c_str());
        return velko::ControlCommandLine::usage;
    }
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("velkoctl"));
    velko::ControlRunner runner(velko::PosixFileSystem::currentHomeDirectory());
    return runner.run(*parsed);
}
