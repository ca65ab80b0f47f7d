#include "velkoctl/ControlRunnerShortcuts.h"

#include <QProcess>
#include <QStringList>
#include <algorithm>

#include "velkoctl/ControlConsole.h"
#include "velkoctl/GnomeCustomShortcuts.h"

namespace velko {

namespace {

using Console = ControlConsole;
using Shortcuts = GnomeCustomShortcuts;

const std::string listSchema = std::string(Shortcuts::listSchema);
const std::string listKey = std::string(Shortcuts::listKey);

std::string unquoted(std::string text) {
    while (!text.empty() && text.back() == '\n') text.pop_back();
    if (text.size() >= 2 && text.front() == '\'' && text.back() == '\'') return text.substr(1, text.size() - 2);
    return text;
}

}  // namespace

ControlRunnerShortcuts::ControlRunnerShortcuts(std::string velkoctl) : velkoctl_(std::move(velkoctl)) {}

Result<std::string> ControlRunnerShortcuts::gsettings(const std::vector<std::string>& arguments) {
    QStringList args;
    for (const auto& argument : arguments) args << QString::fromStdString(argument);
    QProcess process;
    process.start(QStringLiteral("gsettings"), args);
    if (!process.waitForStarted()) return Failure{"cannot run gsettings (package libglib2.0-bin)"};
    if (!process.waitForFinished(30000)) {
        process.kill();
        process.waitForFinished();
        return Failure{"gsettings did not finish within 30 s"};
    }
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        const QString said = QString::fromUtf8(process.readAllStandardError()).trimmed();
        return Failure{"gsettings " + arguments.front() + " failed: " + said.toStdString()};
    }
    return process.readAllStandardOutput().toStdString();
}

std::string ControlRunnerShortcuts::entrySchema(std::string_view path) {
    return std::string(Shortcuts::entrySchema) + ":" + std::string(path);
}

int ControlRunnerShortcuts::run(const ControlRequest& request) {
    const auto current = gsettings({"get", listSchema, listKey});
    if (!current) return Console::fail(current.error() + " (are GNOME's keyboard settings installed?)");
    const auto paths = Shortcuts::parseList(*current);
    if (!paths) return Console::fail(paths.error() + "; left it as it is");
    if (request.action == "add") return add(*paths);
    if (request.action == "remove") return remove(*paths);
    return list(*paths);
}

int ControlRunnerShortcuts::add(const std::vector<std::string>& paths) {
    // Each entry is complete before the list names it, so GNOME never sees half of one.
    for (const auto& entry : Shortcuts::entries()) {
        const std::string schema = entrySchema(entry.path);
        for (const auto& [key, value] : {std::pair{"name", std::string(entry.name)},
                                         std::pair{"command", Shortcuts::command(velkoctl_, entry.identifier)},
                                         std::pair{"binding", std::string(entry.binding)}})
            if (const auto set = gsettings({"set", schema, key, Shortcuts::quoted(value)}); !set)
                return Console::fail(set.error());
    }
    const auto wanted = Shortcuts::withEntries(paths);
    if (wanted != paths)
        if (const auto set = gsettings({"set", listSchema, listKey, Shortcuts::printList(wanted)}); !set)
            return Console::fail(set.error());
    return Console::printed(
        std::string(wanted == paths ? "already added; keys and commands written again" : "added") +
        ": Velko's three hotkeys are in GNOME's custom shortcuts (Settings → Keyboard → View and Customize "
        "Shortcuts → Custom Shortcuts)\n");
}

int ControlRunnerShortcuts::remove(const std::vector<std::string>& paths) {
    const auto wanted = Shortcuts::withoutEntries(paths);
    if (wanted != paths)
        if (const auto set = gsettings({"set", listSchema, listKey, Shortcuts::printList(wanted)}); !set)
            return Console::fail(set.error());
    for (const auto& entry : Shortcuts::entries())
        for (const char* key : {"name", "command", "binding"})
            if (const auto reset = gsettings({"reset", entrySchema(entry.path), key}); !reset)
                return Console::fail(reset.error());
    return Console::printed(wanted == paths
                                ? "already removed: none of Velko's hotkeys is in GNOME's custom shortcuts\n"
                                : "removed Velko's three hotkeys from GNOME's custom shortcuts\n");
}

int ControlRunnerShortcuts::list(const std::vector<std::string>& paths) {
    std::string text;
    for (const auto& entry : Shortcuts::entries()) {
        text += std::string(entry.identifier) + "\t";
        if (std::ranges::find(paths, entry.path) == paths.end()) {
            text += "not added\n";
            continue;
        }
        const std::string schema = entrySchema(entry.path);
        const auto binding = gsettings({"get", schema, "binding"});
        const auto command = gsettings({"get", schema, "command"});
        if (!binding || !command) return Console::fail((binding ? command : binding).error());
        text += unquoted(*binding) + "\t" + unquoted(*command) + "\n";
    }
    return Console::printed(text);
}

}  // namespace velko
