#include <gtest/gtest.h>

#include "velkoctl/ControlCommandTable.h"
#include "velkoctl/ControlManPage.h"

namespace velko::test {
namespace {

TEST(ControlManPageTest, HelpTextShapesBecomeTheirRoff) {
    const std::string roff = ControlManPage::fromHelp(
        "Usage: velkoctl x [--json]\n       velkoctl x list\n\n"
        "Prose on one line\ncarried on, with \\n and -x.\n"
        "  -t, --timeout S   seconds\n           and more\n"
        "set   a word at the margin\n\n"
        "  .an example\n  'another\n\nExit status: 0.\n");
    EXPECT_EQ(roff,
              ".PP\nProse on one line\ncarried on, with \\en and \\-x.\n"
              ".TP\n.B \\-t, \\-\\-timeout S\nseconds\nand more\n"
              ".TP\n.B set\na word at the margin\n"
              ".PP\n.RS 4\n.nf\n\\&.an example\n\\&'another\n.fi\n.RE\n"
              ".PP\nExit status: 0.\n");
}

TEST(ControlManPageTest, ThePageHasEveryCommandAndTheExitCodes) {
    const std::string page = ControlManPage::render("1.2");
    EXPECT_TRUE(page.starts_with(".TH VELKOCTL 1 \"\" \"velko-helper 1.2\"")) << page.substr(0, 80);
    for (const auto& command : ControlCommandTable::commands()) {
        std::string word;  // as roff spells it: a hyphen is \-
        for (const char c : command.word) word += c == '-' ? std::string("\\-") : std::string(1, c);
        EXPECT_NE(page.find("\n.SS " + word + "\n.B velkoctl " + word), std::string::npos) << command.word;
    }
    EXPECT_NE(page.find(".SH EXIT STATUS\n.TP\n.B 0\ndone\n"), std::string::npos);
}

}  // namespace
}  // namespace velko::test
