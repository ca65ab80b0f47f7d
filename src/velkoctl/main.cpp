// velkoctl: Velko's side of the link, for people and scripts. Parse, then do one thing.
#include <QCoreApplication>
#include <cstdio>
#include <string>
#include <vector>

#include "posix/PosixFileSystem.h"
#include "velkoctl/ControlCommandLine.h"
#include "velkoctl/ControlRunner.h"

int main(int argc, char** argv) {
    const std::vector<std::string> args(argv + 1, argv + argc);
    const auto parsed = velko::ControlCommandLine::parse(args);
    if (!parsed.request) {
        std::fprintf(stderr, "velkoctl: %s\n", parsed.error.c_str());
        return velko::ControlCommandLine::usage;
    }
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("velkoctl"));
    velko::ControlRunner runner(velko::PosixFileSystem::currentHomeDirectory());
    return runner.run(*parsed.request);
}
