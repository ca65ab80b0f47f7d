#include "ocr/TesseractRecognizer.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <future>
#include <string>

#include "Core/ScreenshotWatcher.h"
#include "fakes/TempDir.h"

namespace velko::test {
namespace {

// ImageMagick draws the screens with DejaVu Sans, as the integration tests do.
void draw(const std::string& path, const std::string& size, const std::string& background, const std::string& drawing) {
    const std::string command = "convert -size " + size + " xc:'" + background + "' -font DejaVu-Sans -pointsize 24 " +
                                drawing + " '" + path + "'";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

std::string read(TesseractRecognizer& recognizer, const std::string& path) {
    std::promise<std::string> text;
    recognizer.recognizeText(path, [&](std::optional<std::vector<TextObservation>> observations) {
        text.set_value(observations ? ScreenshotWatcher::joinRecognizedLines(*observations) : "(not read)");
    });
    return text.get_future().get();
}

TEST(TesseractRecognizer, ReadsADarkPageAndATableInTheOrderAPersonDoes) {
    TempDir dir;
    TesseractRecognizer recognizer("eng", 2);

    // Light text on a dark page under a blue bar; a short column beside a longer one whose lines
    // do not line up with it.
    draw(dir / "dark.png", "900x330", "#202124",
         "-fill '#1a73e8' -draw 'rectangle 0,0 900,70' -fill white -annotate +30+47 Settings "
         "-fill '#e8eaed' -annotate +30+150 General -annotate +30+215 Privacy -annotate +30+280 Updates "
         "-annotate +330+170 'Automatic updates are on' -annotate +330+225 'Last checked today'");
    EXPECT_EQ(read(recognizer, dir / "dark.png"),
              "Settings\nGeneral\nPrivacy\nUpdates\nAutomatic updates are on\nLast checked today");

    // A grid of cells with borders, read row by row.
    std::string grid = "-stroke '#b0b0b0' -fill none";
    for (const int y : {20, 90, 160, 230})
        grid += " -draw 'line 20," + std::to_string(y) + " 680," + std::to_string(y) + "'";
    for (const int x : {20, 260, 470, 680})
        grid += " -draw 'line " + std::to_string(x) + ",20 " + std::to_string(x) + ",230'";
    draw(dir / "table.png", "700x250", "white",
         grid +
             " -stroke none -fill black -annotate +35+65 Name -annotate +275+65 Qty -annotate +485+65 Price "
             "-annotate +35+135 Apples -annotate +275+135 12 -annotate +485+135 3.40 "
             "-annotate +35+205 Pears -annotate +275+205 7 -annotate +485+205 2.10");
    EXPECT_EQ(read(recognizer, dir / "table.png"), "Name Qty Price\nApples 12 3.40\nPears 7 2.10");

    // A title bar 27 px high at an odd row, and a heading whose bold strokes are thicker than any
    // of body text: neither taken for the other.
    draw(dir / "heading.png", "1000x260", "white",
         "-fill '#333333' -draw 'rectangle 0,1 1000,27' -fill white -pointsize 13 -annotate +10+19 'Quarterly notes' "
         "-fill black -font DejaVu-Sans-Bold -pointsize 96 -annotate +20+180 'Backlog'");
    EXPECT_EQ(read(recognizer, dir / "heading.png"), "Quarterly notes\nBacklog");
}

// The words of each line, letters and digits only: what a person reads, not how Tesseract spaces
// the punctuation between them.
std::string words(const std::string& text) {
    std::string out;
    char last = '\n';
    for (const char c : text + '\n') {
        const bool word = std::isalnum(static_cast<unsigned char>(c)) != 0;
        if (word && !std::isalnum(static_cast<unsigned char>(last)) && !out.empty() && out.back() != '\n') out += ' ';
        if (word) out += c;
        if (c == '\n' && !out.empty()) out += '\n';
        last = c;
    }
    return out;
}

// Crops of Chromium pages and a GTK header bar (bench/captures/make-captures): bars and strips
// too short for a dark region of their own, dim timestamps beside bright text, a table's rows,
// a grey heading whose strokes are thicker than preparation keeps.
TEST(TesseractRecognizer, ReadsCropsOfBarsStripsAndTablesAsAPersonDoes) {
    TesseractRecognizer recognizer("eng", 2);
    const auto capture = [&](const std::string& name) {
        return words(read(recognizer, std::string(VELKO_SOURCE_DIR) + "/tests/captures/" + name + ".png"));
    };
    EXPECT_EQ(capture("urlbar.dark"), words("https://docs.example.org/guide/install?step=2#linux"));
    EXPECT_EQ(capture("titlebar.gtk").substr(0, 21), "Quarterly report pdf\n");
    EXPECT_EQ(capture("mono.strip"), words("warn: 3 files changed, 41 insertions(+), 7 deletions(-) in src/main.rs"));
    EXPECT_EQ(capture("tui.dark"), words("09:41:07 connected to irc.libera.chat\n09:41:12 joined #velko\n"
                                         "09:42:30 alice: the build is green again\n09:43:05 bob: merging now"));
    EXPECT_EQ(capture("hero.grey"), words("Sold out"));
    EXPECT_EQ(capture("table.data"), words("Host Region Uptime Load\nweb-01 eu-west 41 days 0.42\n"
                                           "web-02 eu-west 12 days 1.07\ndb-01 us-east 97 days 2.75\n"
                                           "cache-01 ap-south 3 days 0.08"));
}

}  // namespace
}  // namespace velko::test
