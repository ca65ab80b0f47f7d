#include "velkoctl/ControlRunner.h"

#include <QCoreApplication>
#include <array>
#include <string_view>

#include "Core/GroupContainer.h"
#include "velkoctl/ControlCommandLine.h"
#include "velkoctl/ControlCommandTable.h"
#include "velkoctl/ControlConsole.h"
#include "velkoctl/ControlRunnerFiles.h"
#include "velkoctl/ControlRunnerLink.h"
#include "velkoctl/ControlRunnerLists.h"
#include "velkoctl/ControlRunnerShortcuts.h"

namespace velko {

namespace {

using Request = ControlRequest;

struct Runner {
    std::string_view word;
    // Commands that work on the group container cannot guess where it is.
    bool needsHome;
    int (*run)(const Request& request, const GroupContainer& container);
};

const std::array<Runner, 10> runners{{
    {"ping", false, [](const Request& r, const GroupContainer&) { return ControlRunnerLink().ping(r); }},
    {"paste", false, [](const Request& r, const GroupContainer&) { return ControlRunnerLink().paste(r); }},
    {"watch", false, [](const Request& r, const GroupContainer&) { return ControlRunnerLink().watch(r); }},
    {"status", false, [](const Request& r, const GroupContainer&) { return ControlRunnerLink().status(r); }},
    {"hotkey", false, [](const Request& r, const GroupContainer&) { return ControlRunnerLink().hotkey(r); }},
    {"snippets", true,
     [](const Request& r, const GroupContainer& c) {
         return ControlRunnerLists(c).run(ControlRunnerLists::List::snippets, r);
     }},
    {"rules", true,
     [](const Request& r, const GroupContainer& c) {
         return ControlRunnerLists(c).run(ControlRunnerLists::List::rules, r);
     }},
    {"store", true, [](const Request& r, const GroupContainer& c) { return ControlRunnerFiles(c).store(r); }},
    {"screenshots", true,
     [](const Request& r, const GroupContainer& c) { return ControlRunnerFiles(c).screenshots(r); }},
    {"gnome-shortcuts", false,
     [](const Request& r, const GroupContainer&) {
         return ControlRunnerShortcuts(QCoreApplication::applicationFilePath().toStdString()).run(r);
     }},
}};

const Runner* runnerOf(std::string_view word) {
    for (const auto& runner : runners)
        if (runner.word == word) return &runner;
    return nullptr;
}

}  // namespace

ControlRunner::ControlRunner(std::string homeDirectory) : home_(std::move(homeDirectory)) {}

std::vector<std::string> ControlRunner::commandsWithoutRunner() {
    std::vector<std::string> missing;
    for (const auto& command : ControlCommandTable::commands())
        if (!runnerOf(command.word)) missing.emplace_back(command.word);
    return missing;
}

int ControlRunner::run(const Request& request) {
    switch (request.kind) {
        case Request::Kind::help:
            return ControlConsole::printed(ControlCommandLine::help(request.command));
        case Request::Kind::version:
            return ControlConsole::printed(std::string("velkoctl ") + VELKO_VERSION + "\n");
        case Request::Kind::run:
            break;
    }
    const Runner* runner = runnerOf(request.command);
    if (!runner) return ControlConsole::fail("nothing runs '" + request.command + "'");
    if (runner->needsHome && home_.empty())
        return ControlConsole::fail("cannot tell the home directory: HOME is unset and you have no passwd entry");
    return runner->run(request, GroupContainer(home_));
}

}  // namespace velko
