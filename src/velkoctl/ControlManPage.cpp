#include "velkoctl/ControlManPage.h"

#include <optional>
#include <vector>

#include "velkoctl/ControlCommandLine.h"
#include "velkoctl/ControlCommandTable.h"

namespace velko {

namespace {

std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const auto end = text.find('\n');
        lines.push_back(text.substr(0, end));
        text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
    }
    return lines;
}

std::size_t indentOf(std::string_view line) {
    const auto first = line.find_first_not_of(' ');
    return first == std::string_view::npos ? line.size() : first;
}

struct Definition {
    std::string_view term;
    std::string_view text;
    std::size_t indent;
};

// "  --json   what it does": a term, two spaces or more, its text. At the margin the term is one
// word, so that prose is never taken for a list.
std::optional<Definition> definitionIn(std::string_view line) {
    const std::size_t indent = indentOf(line);
    const auto gap = line.find("  ", indent);
    if (gap == std::string_view::npos || gap == indent) return std::nullopt;
    const std::string_view term = line.substr(indent, gap - indent);
    if (indent == 0 && term.find(' ') != std::string_view::npos) return std::nullopt;
    const auto text = line.find_first_not_of(' ', gap);
    if (text == std::string_view::npos) return std::nullopt;
    return Definition{term, line.substr(text), indent};
}

}  // namespace

std::string ControlManPage::escape(std::string_view text) {
    std::string out;
    for (const char c : text) {
        if (c == '\\')
            out += "\\e";
        else if (c == '-')
            out += "\\-";
        else
            out += c;
    }
    if (!out.empty() && (out[0] == '.' || out[0] == '\'')) out.insert(0, "\\&");
    return out;
}

std::string ControlManPage::fromHelp(std::string_view help) {
    enum class In { nothing, prose, definition, example } in = In::nothing;
    std::size_t termIndent = 0;
    std::string out;
    for (const std::string_view line : linesOf(help)) {
        if (line.starts_with("Usage:") || line.starts_with("       velkoctl")) continue;
        const std::size_t indent = indentOf(line);
        if (indent == line.size()) {
            if (in == In::example) out += ".fi\n.RE\n";
            in = In::nothing;
            continue;
        }
        if (in == In::definition && indent > termIndent) {
            out += escape(line.substr(indent)) + "\n";
            continue;
        }
        if (const auto definition = definitionIn(line)) {
            if (in == In::example) out += ".fi\n.RE\n";
            out += ".TP\n.B " + escape(definition->term) + "\n" + escape(definition->text) + "\n";
            in = In::definition;
            termIndent = definition->indent;
            continue;
        }
        if (indent > 0) {
            if (in != In::example) out += ".PP\n.RS 4\n.nf\n";
            out += escape(line.substr(indent)) + "\n";
            in = In::example;
            continue;
        }
        if (in == In::example) out += ".fi\n.RE\n";
        if (in != In::prose) out += ".PP\n";
        out += escape(line) + "\n";
        in = In::prose;
    }
    if (in == In::example) out += ".fi\n.RE\n";
    return out;
}

std::string ControlManPage::render(std::string_view version) {
    std::string page = ".TH VELKOCTL 1 \"\" \"velko-helper " + escape(version) + "\" \"User Commands\"\n.nh\n";
    page += ".SH NAME\nvelkoctl \\- drive the Velko helper from a shell, as the Velko application does\n";
    page += ".SH SYNOPSIS\n.B velkoctl\n.I COMMAND\n.RI [ OPTIONS ]\n.br\n.B velkoctl\n.I COMMAND\n.B \\-\\-help\n";
    page += ".br\n.B velkoctl \\-\\-help\n.br\n.B velkoctl \\-\\-version\n";
    page += ".SH DESCRIPTION\n" + fromHelp(ControlCommandLine::description());
    page += ".SH COMMANDS\n";
    for (const auto& command : ControlCommandTable::commands()) {
        page += ".SS " + escape(command.word) + "\n";
        // "Usage: velkoctl ..." and the lines under it, aligned to the same column.
        for (const std::string_view line : linesOf(command.help))
            if (line.starts_with("Usage: ") || line.starts_with("       velkoctl"))
                page += ".B " + escape(line.substr(7)) + "\n.br\n";
        page += fromHelp(command.help);
    }
    page += ".SH EXIT STATUS\n" + fromHelp(ControlCommandLine::exitStatus());
    page += R"(.SH ENVIRONMENT
.TP
.B DBUS_SESSION_BUS_ADDRESS
the session bus that the helper and Velko share
.TP
.B HOME
the home folder that holds the group container
.SH FILES
.TP
.I ~/Library/Group Containers/group.app.velko/
the group container, the folder shared by Velko and the helper; below it:
.TP
.I Library/Preferences/group.app.velko.plist
the shared settings that \fBsnippets set\fR and \fBrules set\fR write
.TP
.I Velko.store
Velko's store; \fBstore connect\fR makes an empty marker in its place
.TP
.I pending_screenshots/
the screenshots the helper staged, each a \fIUUID\fB.data\fR and a \fIUUID\fB.json\fR
.SH SEE ALSO
.BR velko\-helper (1)
)";
    return page;
}

}  // namespace velko
