// The clipboard against a real X server, with real clients owning and reading it.
#include <gtest/gtest.h>

#include <xcb/xcb.h>

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>
#include <csignal>

#include "PrivateDisplay.h"
#include "qt/QtMainQueue.h"
#include "qt/QtPasteboard.h"

namespace velko::test {
namespace {

// The selection's owner as the server sees it now.
std::uint32_t clipboardOwner() {
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    auto* atom = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, 9, "CLIPBOARD"), nullptr);
    auto* owner = atom ? xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, atom->atom), nullptr) : nullptr;
    const std::uint32_t window = owner ? owner->owner : 0;
    std::free(owner);
    std::free(atom);
    xcb_disconnect(c);
    return window;
}

struct QtPasteboardTest : ::testing::Test {
    std::unique_ptr<QtPasteboard> pasteboard;
    void SetUp() override {
        if (!PrivateDisplay::ensure()) GTEST_SKIP() << "no Xvfb";
        pasteboard = std::make_unique<QtPasteboard>();
    }
    static std::string clip(const std::string& options = "") {
        return PrivateDisplay::run("xclip -o -selection clipboard " + options);
    }
};

TEST_F(QtPasteboardTest, EachWriteCountsOnceAndIsServedToOthers) {
    const auto start = pasteboard->changeCount();
    pasteboard->writeString("first");
    EXPECT_EQ(pasteboard->changeCount(), start + 1);
    pasteboard->writeString("second");  // replacing what we already own: still one
    EXPECT_EQ(pasteboard->changeCount(), start + 2);
    PrivateDisplay::pump(100);  // our own ownership notices must not count again
    EXPECT_EQ(pasteboard->changeCount(), start + 2);
    EXPECT_EQ(clip(), "second");

    pasteboard->writeItems({{{{"text/plain", Bytes{'h', 'i'}}}}, {{{"text/html", Bytes{'<', 'b', '>'}}}}});
    EXPECT_EQ(pasteboard->changeCount(), start + 3);
    const std::string targets = clip("-t TARGETS");
    EXPECT_NE(targets.find("text/html"), std::string::npos) << targets;
    EXPECT_NE(targets.find("UTF8_STRING"), std::string::npos) << targets;
    EXPECT_EQ(clip("-t text/html"), "<b>");

    pasteboard->clearContents();
    EXPECT_EQ(pasteboard->changeCount(), start + 4);
    PrivateDisplay::pump(100);
    EXPECT_EQ(pasteboard->items(), std::vector<PasteboardItem>{});  // nobody owns it: empty, not unreadable
}

TEST_F(QtPasteboardTest, AnotherClientsCopyCountsOnceEvenBeforeQtHearsOfIt) {
    pasteboard->writeString("ours");
    const auto afterOurs = pasteboard->changeCount();
    const std::uint32_t ours = clipboardOwner();
    ASSERT_EQ(std::system("printf theirs | xclip -selection clipboard"), 0);
    // Watched on a connection of our own, so Qt's loop does not run and its notice stays queued.
    ASSERT_TRUE(PrivateDisplay::waitWithoutLoop([&] { return clipboardOwner() != ours; }));
    EXPECT_EQ(pasteboard->changeCount(), afterOurs + 1);
    PrivateDisplay::pump(200);
    EXPECT_EQ(pasteboard->changeCount(), afterOurs + 1);
    EXPECT_EQ(pasteboard->string(), "theirs");
}

TEST_F(QtPasteboardTest, SnapshotKeepsEveryTypeAndBytesExactlyAndWritesThemBack) {
    const Bytes png{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0x00, 0xFF, 0x10};
    ASSERT_EQ(std::system(R"(printf '\211PNG\r\n\032\n\000\377\020' | xclip -selection clipboard -t image/png)"), 0);
    PrivateDisplay::pump(100);

    const auto items = pasteboard->items();
    ASSERT_TRUE(items);
    // Only what the owner offers: no TARGETS or TIMESTAMP, no Qt image stand-in.
    EXPECT_EQ(*items, (std::vector<PasteboardItem>{{{{"image/png", png}}}}));
    EXPECT_EQ(pasteboard->string(), std::nullopt);

    pasteboard->writeString("expansion");
    pasteboard->writeItems(*items);
    const std::string back = clip("-t image/png");
    EXPECT_EQ(Bytes(back.begin(), back.end()), png);
}

TEST_F(QtPasteboardTest, OwnerThatDoesNotAnswerIsUnreadableAfterAShortWaitNotQtsFiveSeconds) {
    QProcess owner;
    owner.start("xclip", {"-quiet", "-selection", "clipboard"});  // stays in the foreground
    ASSERT_TRUE(owner.waitForStarted());
    owner.write("frozen");
    owner.closeWriteChannel();
    ASSERT_TRUE(PrivateDisplay::waitUntil([] { return clipboardOwner() != 0; }));
    PrivateDisplay::pump(100);
    ::kill(static_cast<pid_t>(owner.processId()), SIGSTOP);

    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(pasteboard->items(), std::nullopt);
    EXPECT_EQ(pasteboard->string(), std::nullopt);  // not asked twice
    EXPECT_LT(timer.elapsed(), 2 * QtPasteboard::probeTimeout.count());

    ::kill(static_cast<pid_t>(owner.processId()), SIGCONT);
    // Awake again and copying anew: asked again.
    owner.kill();
    owner.waitForFinished();
    ASSERT_EQ(std::system("printf thawed | xclip -selection clipboard"), 0);
    ASSERT_TRUE(PrivateDisplay::waitUntil([&] { return pasteboard->string() == "thawed"; }));
}

// Reads another owner's contents while the main loop goes on; done runs on the loop, with the time taken.
struct Read {
    std::optional<std::optional<std::vector<PasteboardItem>>> items;
    int loopTurns = 0;
    qint64 ms = 0;
};
Read readWhileLooping(QtPasteboard& pasteboard) {
    Read read;
    QTimer ticks;
    QObject::connect(&ticks, &QTimer::timeout, [&] { ++read.loopTurns; });
    ticks.start(20);
    QElapsedTimer timer;
    timer.start();
    pasteboard.readItems([&](auto items) { read.items = std::move(items); });
    PrivateDisplay::waitUntil([&] { return read.items.has_value(); });
    read.ms = timer.elapsed();
    return read;
}

TEST_F(QtPasteboardTest, AnotherOwnersTypesAreReadOffTheLoopLargeOnesInPiecesLateOnesLeftOut) {
    QTemporaryDir dir;
    // Over the largest single property the server takes (16 MB), so xclip sends it in pieces.
    QByteArray big(17 << 20, 0);
    for (qsizetype i = 0; i < big.size(); ++i) big[i] = static_cast<char>((i * 2654435761u) >> 13);
    QFile file(dir.filePath("big"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(big) == big.size());
    file.close();
    ASSERT_EQ(std::system(("xclip -selection clipboard -t image/png -i " + file.fileName().toStdString()).c_str()), 0);
    ASSERT_TRUE(PrivateDisplay::waitUntil([] { return clipboardOwner() != 0; }));
    Read read = readWhileLooping(*pasteboard);
    ASSERT_TRUE(read.items && *read.items);
    ASSERT_EQ(read.items->value().size(), 1u);
    ASSERT_EQ(read.items->value()[0].types.size(), 1u);
    EXPECT_EQ(read.items->value()[0].types[0].first, "image/png");
    EXPECT_TRUE(read.items->value()[0].types[0].second == Bytes(big.begin(), big.end()));

    // An owner that takes 1.5 s for each type: both miss their deadline and are left out, the
    // whole read ends within the budget, and the loop kept turning meanwhile.
    QFile html(dir.filePath("html"));
    ASSERT_TRUE(html.open(QIODevice::WriteOnly) && html.write("<b>slow</b>") > 0);
    html.close();
    QProcess owner;
    owner.start(QCoreApplication::applicationDirPath() + "/../velko-test-clipboard-owner",
                {"--slow=1500-1500", "text/html=" + html.fileName(), "text/plain=" + html.fileName()});
    ASSERT_TRUE(PrivateDisplay::waitUntil([&] { return owner.readAllStandardOutput().contains("owned"); }));
    read = readWhileLooping(*pasteboard);
    EXPECT_EQ(read.items, std::optional(std::optional(std::vector<PasteboardItem>{{}})));
    EXPECT_LT(read.ms, QtPasteboard::snapshotBudget.count() + 500);
    EXPECT_GT(read.loopTurns, QtPasteboard::snapshotBudget.count() / 20 / 2);
    owner.kill();
    owner.waitForFinished();
}

}  // namespace
}  // namespace velko::test
