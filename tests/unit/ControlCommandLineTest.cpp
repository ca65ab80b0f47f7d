#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "velkoctl/ControlCommandLine.h"
#include "velkoctl/ControlCommandTable.h"

namespace velko::test {
namespace {

using CL = ControlCommandLine;
using Kind = ControlRequest::Kind;
using Args = std::vector<std::string>;

ControlRequest accepted(const Args& args) {
    const auto parsed = CL::parse(args);
    EXPECT_TRUE(parsed) << parsed.error();
    return parsed ? *parsed : ControlRequest{};
}

std::string refused(const Args& args) {
    const auto parsed = CL::parse(args);
    EXPECT_FALSE(parsed);
    return parsed ? "" : parsed.error();
}

TEST(ControlCommandLineTest, EveryCommandHasItsHelpItsOverviewLineAndItsWordInMistakes) {
    const std::string overview = CL::help("");
    std::set<std::string_view> words;
    for (const auto& command : ControlCommandTable::commands()) {
        const std::string word(command.word);
        EXPECT_TRUE(words.insert(command.word).second) << word << " twice";
        EXPECT_EQ(CL::help(word).rfind("Usage: velkoctl " + word, 0), 0u) << word;
        EXPECT_NE(CL::help(word).find("Exit status"), std::string::npos) << word;
        EXPECT_EQ(command.usage.rfind(word, 0), 0u) << word;
        EXPECT_NE(overview.find("  " + std::string(command.usage) + " "), std::string::npos) << word;

        // Help wins wherever it stands, whatever else is wrong.
        for (const Args& args : {Args{word, "--bogus", "extra", "--help"}, Args{"help", word}}) {
            const auto help = accepted(args);
            EXPECT_EQ(help.kind, Kind::help) << word;
            EXPECT_EQ(help.command, word);
        }
        const std::string mistake = refused({word, "--bogus"});
        EXPECT_EQ(mistake.rfind(word + ": ", 0), 0u) << mistake;
        EXPECT_TRUE(mistake.ends_with(" (see 'velkoctl " + word + " --help')")) << mistake;
    }
    EXPECT_EQ(accepted({"-h"}).command, "");
    EXPECT_EQ(accepted({"--version"}).kind, Kind::version);
    EXPECT_NE(overview.find("3  no helper answered"), std::string::npos);
}

// The velkoctl integration tests run every command with its usual options; here, the other spellings.
TEST(ControlCommandLineTest, CommandsParseWithTheirOptions) {
    EXPECT_EQ(accepted({"ping"}).timeout, ControlRequest::defaultTimeout);
    EXPECT_EQ(accepted({"ping", "--timeout=3"}).timeout.count(), 3.0);
    EXPECT_EQ(accepted({"status", "-t", "1", "--json"}).timeout.count(), 1.0);
    const auto plain = accepted({"paste", "--timeout", "5", "plain"});
    EXPECT_EQ(plain.notification + " " + plain.keys, "velko.paste.plain Ctrl+Alt+Shift+V");
    EXPECT_EQ(plain.timeout.count(), 5.0);
    const auto match = accepted({"paste", "match"});
    EXPECT_EQ(match.notification + " " + match.keys, "velko.paste.match Ctrl+Shift+V");
    // After --, a file whose name starts with a dash is still a file.
    EXPECT_EQ(accepted({"rules", "set", "--", "-rules.json"}).input, "-rules.json");
}

TEST(ControlCommandLineTest, MistakesAreRefusedWithTheCommandAndWhereToLook) {
    const std::vector<std::pair<Args, std::string>> cases = {
        {{}, "no command given"},
        {{"pong"}, "unknown command 'pong'"},
        {{"--verbose"}, "unknown option '--verbose'"},
        {{"help", "nothing"}, "no help on 'nothing'"},
        {{"ping", "--json"}, "ping: takes no --json"},
        {{"ping", "now"}, "ping: unexpected argument 'now'"},
        {{"ping", "--timeout"}, "ping: --timeout needs a number of seconds"},
        {{"paste", "sideways"}, "paste: 'sideways' is not now, plain or match"},
        {{"watch", "--timeout", "1"}, "watch: takes no --timeout"},
        {{"hotkey"}, "hotkey: needs an identifier: open_popover, spotlight_launcher or save_snippet"},
        {{"hotkey", "open"}, "hotkey: 'open' is not open_popover, spotlight_launcher or save_snippet"},
        {{"snippets"}, "snippets: needs 'set FILE' or 'list'"},
        {{"snippets", "set"}, "snippets: set needs a FILE"},
        {{"rules", "get"}, "rules: unknown subcommand 'get'"},
        {{"store"}, "store: needs connect, disconnect or status"},
    };
    for (const auto& [args, why] : cases) {
        const std::string error = refused(args);
        EXPECT_EQ(error.rfind(why, 0), 0u) << error;
        EXPECT_NE(error.find("--help')"), std::string::npos) << error;
        EXPECT_EQ(error.find('\n'), std::string::npos) << error;
    }
}

TEST(ControlCommandLineTest, TimeoutsMustBeAPositiveFiniteNumberOfSeconds) {
    for (const std::string bad : {"0", "-1", "abc", "2s", "", "nan", "inf", "1e9", "0x10", " 1"})
        EXPECT_NE(refused({"ping", "--timeout=" + bad}).find("--timeout wants seconds"), std::string::npos) << bad;
    EXPECT_EQ(accepted({"paste", "--timeout", "3600"}).timeout.count(), 3600.0);
    EXPECT_EQ(accepted({"paste", "--timeout", "0.001"}).timeout.count(), 0.001);
}

// Shell completion is generated from the table's completion fields; they must offer exactly what
// the parser takes.
TEST(ControlCommandLineTest, CompletionOffersExactlyWhatEachCommandTakes) {
    const auto wordsOf = [](std::string_view list) {
        Args words;
        for (std::size_t at = 0; at < list.size();) {
            const auto end = std::min(list.find(' ', at), list.size());
            words.emplace_back(list.substr(at, end - at));
            at = end + 1;
        }
        return words;
    };
    for (const auto& command : ControlCommandTable::commands()) {
        const std::string word(command.word);
        std::vector<Args> starts = {{word}};
        for (const auto& first : wordsOf(command.arguments)) {
            EXPECT_EQ(bool(CL::parse({word, first})), first != command.fileAfter) << word << " " << first;
            starts.push_back(first == command.fileAfter ? Args{word, first, "f.json"} : Args{word, first});
        }
        const Args offered = wordsOf(command.options);
        for (const Args& option : {Args{"--timeout", "1"}, Args{"--json"}}) {
            bool taken = false;
            for (Args args : starts) {
                args.insert(args.end(), option.begin(), option.end());
                taken = taken || bool(CL::parse(args));
            }
            EXPECT_EQ(taken, std::ranges::count(offered, option[0]) == 1) << word << " " << option[0];
        }
    }
}

}  // namespace
}  // namespace velko::test
