#include <gtest/gtest.h>

#include "velkoctl/ControlCommandLine.h"

namespace velko::test {
namespace {

using CL = ControlCommandLine;
using Command = CL::Command;
using Topic = CL::Topic;
using Args = std::vector<std::string>;

CL::Request accepted(const Args& args) {
    const auto parsed = CL::parse(args);
    EXPECT_TRUE(parsed.request) << parsed.error;
    return parsed.request.value_or(CL::Request{});
}

std::string refused(const Args& args) {
    const auto parsed = CL::parse(args);
    EXPECT_FALSE(parsed.request);
    return parsed.error;
}

TEST(ControlCommandLineTest, EveryCommandParsesWithItsOptions) {
    EXPECT_EQ(accepted({"ping"}).timeout, CL::defaultTimeout);
    EXPECT_EQ(accepted({"ping", "--timeout", "0.25"}).timeout, 0.25);
    EXPECT_EQ(accepted({"ping", "--timeout=3"}).timeout, 3.0);
    EXPECT_EQ(accepted({"ping", "-t", "1"}).timeout, 1.0);

    const auto now = accepted({"paste"});
    EXPECT_EQ(now.command, Command::paste);
    EXPECT_EQ(now.pasteNotification, "velko.paste.now");
    EXPECT_EQ(now.pasteKeys, "Ctrl+V");
    EXPECT_EQ(accepted({"paste", "plain"}).pasteNotification, "velko.paste.plain");
    EXPECT_EQ(accepted({"paste", "plain"}).pasteKeys, "Ctrl+Alt+Shift+V");
    const auto match = accepted({"paste", "--timeout", "5", "match"});
    EXPECT_EQ(match.pasteNotification, "velko.paste.match");
    EXPECT_EQ(match.timeout, 5.0);

    const auto fromStdin = accepted({"snippets", "set", "-"});
    EXPECT_EQ(fromStdin.command, Command::snippetsSet);
    EXPECT_EQ(fromStdin.input, "-");
    // After --, a file whose name starts with a dash is still a file.
    EXPECT_EQ(accepted({"rules", "set", "--", "-rules.json"}).input, "-rules.json");
    EXPECT_TRUE(accepted({"rules", "list", "--json"}).json);
}

TEST(ControlCommandLineTest, HelpWinsWhereverItStandsAndCoversEachCommand) {
    const auto help = accepted({"paste", "--bogus", "sideways", "--help"});
    EXPECT_EQ(help.command, Command::help);
    EXPECT_EQ(help.topic, Topic::paste);
    EXPECT_EQ(accepted({"help", "rules"}).topic, Topic::rules);
    EXPECT_EQ(accepted({"-h"}).topic, Topic::overview);
    EXPECT_NE(refused({"help", "nothing"}).find("nothing"), std::string::npos);

    const std::vector<std::pair<Topic, std::string>> topics = {{Topic::ping, "ping"},
                                                               {Topic::paste, "paste"},
                                                               {Topic::watch, "watch"},
                                                               {Topic::snippets, "snippets"},
                                                               {Topic::rules, "rules"},
                                                               {Topic::store, "store"},
                                                               {Topic::screenshots, "screenshots"}};
    const std::string overview = CL::help(Topic::overview);
    for (const auto& [topic, word] : topics) {
        EXPECT_EQ(CL::help(topic).rfind("Usage: velkoctl " + word, 0), 0u) << word;
        EXPECT_NE(CL::help(topic).find("Exit status"), std::string::npos) << word;
        EXPECT_NE(overview.find("  " + word), std::string::npos) << word;
    }
    EXPECT_NE(overview.find("3  no helper answered"), std::string::npos);
}

TEST(ControlCommandLineTest, MistakesAreRefusedWithTheCommandAndWhereToLook) {
    const std::vector<std::pair<Args, std::string>> cases = {
        {{}, "no command given"},
        {{"pong"}, "unknown command 'pong'"},
        {{"--verbose"}, "unknown option '--verbose'"},
        {{"ping", "--json"}, "ping: takes no --json"},
        {{"ping", "now"}, "ping: unexpected argument 'now'"},
        {{"ping", "--timeout"}, "ping: --timeout needs a number of seconds"},
        {{"paste", "sideways"}, "paste: 'sideways' is not now, plain or match"},
        {{"paste", "now", "plain"}, "paste: unexpected argument 'plain'"},
        {{"watch", "--timeout", "1"}, "watch: takes no --timeout"},
        {{"watch", "-x"}, "watch: unknown option '-x'"},
        {{"snippets"}, "snippets: needs 'set FILE' or 'list'"},
        {{"snippets", "set"}, "snippets: set needs a FILE"},
        {{"snippets", "set", "a.json", "b.json"}, "snippets: unexpected argument 'b.json'"},
        {{"snippets", "set", "--json", "a.json"}, "snippets: takes no --json"},
        {{"rules", "get"}, "rules: unknown subcommand 'get'"},
        {{"rules", "list", "extra"}, "rules: unexpected argument 'extra'"},
        {{"store"}, "store: needs connect, disconnect or status"},
        {{"store", "open"}, "store: unknown subcommand 'open'"},
        {{"screenshots", "all"}, "screenshots: unexpected argument 'all'"},
    };
    for (const auto& [args, why] : cases) {
        const std::string error = refused(args);
        EXPECT_EQ(error.rfind(why, 0), 0u) << error;
        EXPECT_NE(error.find("--help"), std::string::npos) << error;
        EXPECT_EQ(error.find('\n'), std::string::npos) << error;
    }
    EXPECT_NE(refused({"rules", "get"}).find("velkoctl rules --help"), std::string::npos);
}

TEST(ControlCommandLineTest, TimeoutsMustBeAPositiveFiniteNumberOfSeconds) {
    for (const std::string bad : {"0", "-1", "abc", "2s", "", "nan", "inf", "1e9", "0x10", " 1"})
        EXPECT_NE(refused({"ping", "--timeout=" + bad}).find("--timeout wants seconds"), std::string::npos) << bad;
    EXPECT_EQ(accepted({"paste", "--timeout", "3600"}).timeout, 3600.0);
    EXPECT_EQ(accepted({"paste", "--timeout", "0.001"}).timeout, 0.001);
}

}  // namespace
}  // namespace velko::test
