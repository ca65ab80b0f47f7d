#include <gtest/gtest.h>

#include <regex>

#include "fakes/FakeExpansionPlatform.h"
#include "fakes/VirtualClock.h"

namespace velko::test {
namespace {

using Trigger = SharedDataReader::SnippetTrigger;

const std::string backspace = "\x7f";
const std::string returnKey = "\r";
const std::string upArrow = "\xEF\x9C\x80";  // U+F700
const PasteboardItem image{{{"image/png", Bytes{0x89, 'P', 'N', 'G'}}, {"text/uri-list", Bytes{'f', ':', '/'}}}};

struct TextExpansionEngineTest : ::testing::Test, ExpansionRig<VirtualClock> {
    void start(std::vector<Trigger> triggers) {
        reader.snippetTriggers = std::move(triggers);
        engine.start();
    }
    void startWith(const std::string& abbreviation, const std::string& expansion = "EXPANDED") {
        start({{abbreviation, expansion, "plain", {}}});
    }
    // Each argument is one key stroke; the tasks it queues run before the next stroke.
    template <class... Strokes>
    void type(const Strokes&... strokes) {
        (..., (tap.stroke(std::string(strokes)), clock.runPending()));
    }
    void typeEach(const std::string& ascii) {
        for (char c : ascii) type(std::string(1, c));
    }
    int backspaces() const { return keyCount(KeyCodes::backspace); }
    int pastes() const { return keyCount(KeyCodes::v); }
    int keyCount(KeyCode code) const {
        int n = 0;
        for (const auto& e : keyboard.events) n += e.keyCode == code && e.down;
        return n;
    }
    // Expansion texts written to the pasteboard so far.
    std::vector<std::string> pasted() const {
        std::vector<std::string> out;
        for (const auto& entry : pasteboard.log)
            if (entry.rfind("write ", 0) == 0 && entry != "write items") out.push_back(entry.substr(6));
        return out;
    }
    std::string expandOnce(const std::string& expansion) {
        startWith(";x", expansion);
        type(";", "x");
        clock.advance(TextExpansionEngine::pasteDelay);
        const auto texts = pasted();
        return texts.empty() ? "<nothing pasted>" : texts.back();
    }
};

TEST_F(TextExpansionEngineTest, StartsOnlyWithInputAccessAndStaysInactiveWithoutATap) {
    trust.trusted = false;
    startWith(";sig");
    EXPECT_EQ(tap.starts, 0);
    EXPECT_FALSE(engine.isActive);
    EXPECT_EQ(engine.triggers().size(), 0u);

    trust.trusted = true;
    tap.canTap = false;
    engine.start();
    EXPECT_FALSE(engine.isActive);
    EXPECT_EQ(engine.triggers().size(), 1u);  // loaded all the same

    tap.canTap = true;
    engine.start();
    EXPECT_TRUE(engine.isActive);
    reader.snippetTriggers = std::vector<Trigger>{};  // later changes are not picked up
    typeEach(";sig");
    EXPECT_EQ(backspaces(), 4);
}

TEST_F(TextExpansionEngineTest, AbbreviationOnlyHasToEndTheTypedText) {
    startWith(";sig");
    typeEach(";si");
    EXPECT_EQ(backspaces(), 0);
    type("g");
    EXPECT_EQ(backspaces(), 4);
    EXPECT_EQ(engine.keystrokeBuffer(), "");

    typeEach("x;sig");
    EXPECT_EQ(backspaces(), 8);
    // The match emptied the buffer: "sig" after it is not ";sig".
    typeEach("sig");
    EXPECT_EQ(backspaces(), 8);
    type(";", "sig");  // an input method delivering three at once
    EXPECT_EQ(backspaces(), 12);

    // Backspace edits the buffer but never matches, even when the buffer ends in an abbreviation again.
    startWith(";si");
    type(";", "six", backspace);
    EXPECT_EQ(engine.keystrokeBuffer(), ";si");
    EXPECT_EQ(backspaces(), 12);
}

// Each row is typed after a Return, so from an empty buffer.
TEST_F(TextExpansionEngineTest, LettersDigitsSpaceAndPunctuationAreKeptEverythingElseStartsOver) {
    start({});  // with no triggers the buffer is still kept
    std::vector<std::pair<std::vector<std::string>, std::string>> rows{
        {{"-", "_", ";", "/", "!", "#", ".", ",", "(", "]", " ", "7", "\xE2\x85\xAB" /* Ⅻ */, "\xC3\xA9",
          "\xE5\xAD\x97" /* 字 */, "\xC2\xBD" /* ½ */},
         "-_;/!#.,(] 7\xE2\x85\xAB\xC3\xA9\xE5\xAD\x97\xC2\xBD"},
        {{backspace, ";", "s", "x", backspace}, ";s"},
        // A stroke of several characters is judged by its first.
        {{";", "+si"}, ""},
        {{"si+"}, "si+"},
    };
    for (const std::string& clearing :
         {returnKey, std::string("\t"), std::string("\x1b"), upArrow, std::string("+"), std::string("$"),
          std::string("="), std::string("\xC2\xA0") /* NBSP */, std::string("")})
        rows.push_back({{";", "s", "i", clearing, "g"}, "g"});
    for (std::size_t row = 0; row < rows.size(); ++row) {
        type(returnKey);
        for (const auto& stroke : rows[row].first) type(stroke);
        EXPECT_EQ(engine.keystrokeBuffer(), rows[row].second) << "row " << row;
    }
    // A modifier key alone reports nothing and leaves the buffer as it was.
    tap.stroke(std::nullopt);
    clock.runPending();
    EXPECT_EQ(engine.keystrokeBuffer(), "g");
}

TEST_F(TextExpansionEngineTest, AHotkeyPressLeavesTheBufferUnlessTheHotkeysAreOff) {
    startWith(";sig");
    const auto controlShiftV = [&] {
        tap.stroke("\x16", KeyCodes::v, Flags::command | Flags::shift);
        clock.runPending();
    };
    // Not grabbed, the press reaches the focused window like any other shortcut.
    typeEach(";si");
    controlShiftV();
    type("g");
    EXPECT_EQ(backspaces(), 0);

    hotkeys.start();
    typeEach(";si");
    controlShiftV();
    type("g");
    EXPECT_EQ(backspaces(), 4);
}

TEST_F(TextExpansionEngineTest, BufferKeepsTheLastFiftyCharactersEnoughForTheLongestAbbreviation) {
    start({{std::string(50, 'a'), "fits", "", {}}});
    std::string typed;
    for (int i = 0; i < 60; ++i) typed += static_cast<char>('b' + i % 25);
    typeEach(typed);
    EXPECT_EQ(engine.keystrokeBuffer(), typed.substr(10));
    // Counted in characters, not bytes: fifty two-byte letters fit.
    for (int i = 0; i < 55; ++i) type("\xC3\xA9");
    EXPECT_EQ(engine.keystrokeBuffer().size(), 100u);
    typeEach(std::string(50, 'a'));
    clock.advance(1);
    EXPECT_EQ(pasted(), std::vector<std::string>{"fits"});
}

TEST_F(TextExpansionEngineTest, MatchingIsByWholeCanonicallyEquivalentCharacters) {
    const std::string precomposed = "caf\xC3\xA9";  // café with U+00E9
    const std::string decomposed = "cafe\xCC\x81";  // café with e + U+0301
    start({{precomposed, "coffee", "", {}}, {"e", "letter e", "", {}}});
    typeEach("caf");
    type("e\xCC\x81");  // the letter with its mark, in one stroke
    clock.advance(1);
    EXPECT_EQ(pasted(), std::vector<std::string>{"coffee"});
    EXPECT_EQ(backspaces(), 4);  // the abbreviation is four characters, whatever its bytes

    start({{decomposed, "coffee", "", {}}});
    typeEach("caf");
    type("\xC3\xA9");
    EXPECT_EQ(backspaces(), 8);

    // "e" does not end "é": the mark belongs to the last character.
    start({{"e", "letter e", "", {}}});
    type("e\xCC\x81");
    EXPECT_EQ(backspaces(), 8);

    // A vowel sign typed on its own key joins the consonant before it: "कि" is one character,
    // so the lone sign as an abbreviation does not end it.
    start({{"x\xE0\xA4\x95\xE0\xA4\xBF", "ki", "", {}}, {"\xE0\xA4\xBF", "sign", "", {}}});
    type("x", "\xE0\xA4\x95", "\xE0\xA4\xBF");
    EXPECT_EQ(backspaces(), 10);
    clock.advance(1);
    EXPECT_EQ(pasted().back(), "ki");
}

TEST_F(TextExpansionEngineTest, LongestAbbreviationWinsAndTheTableIsBuiltSensibly) {
    start({{"sig", "short", "", {}},
           {";sig", "first", "", {}},
           {"", "empty fires never", "", {}},
           {";sig", "second", "", {}}});
    EXPECT_EQ(engine.triggers().size(), 2u);
    typeEach("a;sig");
    clock.advance(1);
    EXPECT_EQ(pasted(), std::vector<std::string>{"second"});  // the later duplicate stays
    EXPECT_EQ(backspaces(), 4);
    typeEach("xsig");
    clock.advance(1);
    EXPECT_EQ(pasted(), (std::vector<std::string>{"second", "short"}));
}

TEST_F(TextExpansionEngineTest, FindsTheRightTriggerAmongMany) {
    std::vector<Trigger> many;
    for (int i = 0; i < 20000; ++i) many.push_back({";t" + std::to_string(i), "x" + std::to_string(i), "", {}});
    start(many);
    typeEach("x;t1234");  // ";t1", ";t12", ";t123" fire on the way
    clock.advance(1);
    EXPECT_EQ(pasted(), std::vector<std::string>{"x1"});
    typeEach(";t19999");
    clock.advance(1);
    EXPECT_EQ(pasted().back(), "x1");  // again ";t1" is met first
    EXPECT_EQ(engine.triggers().size(), 20000u);
}

TEST_F(TextExpansionEngineTest, EraseAtOncePasteAfterFiftyMillisecondsRestoreHalfASecondLater) {
    pasteboard.contents = std::vector<PasteboardItem>{FakePasteboard::textItem("mine"), image};
    pasteboard.count = 7;
    startWith(";sig", "Best regards");
    typeEach(";sig");
    EXPECT_EQ(keyboard.events.size(), 8u);
    for (const auto& e : keyboard.events) EXPECT_EQ(e.flags, 0u);
    EXPECT_TRUE(pasteboard.log.empty());

    clock.advance(0.049);
    EXPECT_TRUE(pasteboard.log.empty());
    clock.advance(0.001);
    EXPECT_EQ(pasteboard.string(), "Best regards");
    EXPECT_EQ(pastes(), 1);
    EXPECT_EQ(keyboard.events.back(), (FakeKeyboard::Event{KeyCodes::v, Flags::command, false}));

    clock.advance(0.499);
    EXPECT_EQ(pasteboard.string(), "Best regards");
    clock.advance(0.001);
    ASSERT_TRUE(pasteboard.contents);
    EXPECT_EQ(*pasteboard.contents, (std::vector<PasteboardItem>{FakePasteboard::textItem("mine"), image}));
    EXPECT_EQ(pasteboard.log, (std::vector<std::string>{"write Best regards", "write items"}));
}

TEST_F(TextExpansionEngineTest, RestoreLeavesACopyMadeMeanwhileAlone) {
    pasteboard.contents = std::vector<PasteboardItem>{FakePasteboard::textItem("old")};
    startWith(";sig");
    typeEach(";sig");
    clock.advance(0.3);
    pasteboard.userCopies({FakePasteboard::textItem("new")});
    clock.advance(1);
    EXPECT_EQ(pasteboard.string(), "new");

    // A copy between the match and the paste step also counts.
    typeEach(";sig");
    pasteboard.userCopies({image});
    clock.advance(1);
    EXPECT_EQ(pasteboard.string(), "EXPANDED");
}

TEST_F(TextExpansionEngineTest, AbsentSnapshotKeepsTheTextEmptyOneEndsEmpty) {
    startWith(";sig");
    pasteboard.contents = std::nullopt;  // unreadable
    typeEach(";sig");
    clock.advance(1);
    EXPECT_EQ(pasteboard.string(), "EXPANDED");

    pasteboard.contents = std::vector<PasteboardItem>{};  // readable, nothing on it
    typeEach(";sig");
    clock.advance(1);
    ASSERT_TRUE(pasteboard.contents);
    EXPECT_TRUE(pasteboard.contents->empty());
    EXPECT_EQ(pasteboard.log.back(), "clear");
}

TEST_F(TextExpansionEngineTest, PasteDroppedByTheRateLimitStillRestores) {
    pasteboard.contents = std::vector<PasteboardItem>{FakePasteboard::textItem("mine")};
    startWith(";sig");
    typeEach(";sig");
    clock.advance(0.01);
    injector.injectKeystroke(KeyCodes::v, Flags::command, true);  // a paste request just before
    clock.advance(0.04);
    EXPECT_EQ(backspaces(), 4);
    EXPECT_EQ(pastes(), 1);  // only the request's
    EXPECT_EQ(pasteboard.string(), "EXPANDED");
    clock.advance(0.5);
    EXPECT_EQ(pasteboard.string(), "mine");
}

TEST_F(TextExpansionEngineTest, PlaceholdersAreFilledInOrderOnTheGrowingText) {
    pasteboard.contents = std::vector<PasteboardItem>{FakePasteboard::textItem("id {uuid}, on {date}")};
    const std::string out = expandOnce("{clipboard}|{uuid}");
    const std::regex uuidForm(
        "id ([0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}), on \\{date\\}\\|(.*)");
    std::smatch parts;
    ASSERT_TRUE(std::regex_match(out, parts, uuidForm)) << out;
    EXPECT_EQ(parts[1], parts[2]);  // one UUID per expansion, the same generator as the screenshots' identifiers
    clock.advance(1);
    EXPECT_NE(expandOnce("{uuid}"), parts[1].str()) << "a new one next time";

    EXPECT_EQ(expandOnce("{username} / {fullname} / {nope} / {Date} / plain"),
              "ada / Ada Lovelace / {nope} / {Date} / plain");
}

TEST_F(TextExpansionEngineTest, DateAndTimeUseTheLocaleStylesOfOneInstant) {
    // ICU 72 and later write a narrow no-break space before PM, older ones a plain space.
    std::string sent = expandOnce("Sent {date} at {time}");
    if (const auto narrow = sent.find("\xE2\x80\xAF"); narrow != std::string::npos) sent.replace(narrow, 3, " ");
    EXPECT_EQ(sent, "Sent Nov 16, 2026 at 2:05 PM");
    session.locale = "de_DE";
    session.zone = "Europe/Berlin";
    EXPECT_EQ(expandOnce("{date} {time}"), "16.11.2026 15:05");
    // Empty clipboard text gives nothing, not the placeholder.
    pasteboard.contents = std::vector<PasteboardItem>{image};
    EXPECT_EQ(expandOnce("[{clipboard}]"), "[]");
}

TEST_F(TextExpansionEngineTest, NothingIsErasedBeforeTheSnapshotAndTextTypedMeanwhileStays) {
    pasteboard.contents = std::vector<PasteboardItem>{FakePasteboard::textItem("mine")};
    pasteboard.slowOwner = true;
    startWith(";sig", "{clipboard}!");
    typeEach(";sig");
    clock.advance(1);
    EXPECT_EQ(backspaces(), 0);
    EXPECT_TRUE(pasteboard.log.empty());
    typeEach(" andx");
    type(backspace);  // edits what was typed meanwhile
    pasteboard.answerReads();
    clock.runPending();
    EXPECT_EQ(backspaces(), 8);  // ";sig" and " and"
    clock.advance(0.05);
    EXPECT_EQ(pasted(), std::vector<std::string>{"mine! and"});
    clock.advance(0.5);
    EXPECT_EQ(pasteboard.string(), "mine");
    typeEach(";sig");  // the text typed meanwhile took no part in a match, this one starts afresh
    EXPECT_EQ(pasteboard.pendingReads.size(), 1u);
    pasteboard.answerReads();
    clock.runPending();
    EXPECT_EQ(backspaces(), 12);
    clock.advance(1);

    // A key already queued behind the match's last one counts as typed meanwhile, even when the
    // snapshot is at hand at once.
    pasteboard.slowOwner = false;
    for (const char* key : {";", "s", "i", "g", "?"}) tap.stroke(std::string(key));
    clock.runPending();
    EXPECT_EQ(backspaces(), 17);
    clock.advance(1);
    EXPECT_EQ(pasted().back(), "mine!?");
    pasteboard.slowOwner = true;

    // Return, an arrow, Backspace into the abbreviation or a shortcut cannot be typed again after
    // the snippet: the expansion is dropped and nothing of the person's is erased or overwritten.
    const std::vector<std::vector<std::string>> meanwhile{
        {"a", returnKey}, {"a", upArrow}, {"a", backspace, backspace}, {"a", "\x16" /* Ctrl+V */}};
    for (const auto& keys : meanwhile) {
        const auto logged = pasteboard.log.size();
        typeEach(";sig");
        for (const auto& key : keys) type(key);
        pasteboard.answerReads();
        clock.runPending();
        clock.advance(1);
        EXPECT_EQ(backspaces(), 17) << "after " << keys.back();
        EXPECT_EQ(pasteboard.log.size(), logged);
    }
}

TEST_F(TextExpansionEngineTest, PasswordFieldsKeepNoTypedKeysAndFireNothing) {
    startWith(";sig");
    const Focus field{"zenity"}, password{"zenity", false, true};
    focus.set(field);
    typeEach(";si");
    focus.set(password);  // reported after the keys that went in before it
    EXPECT_EQ(engine.keystrokeBuffer(), "");
    typeEach("g;sig");
    EXPECT_EQ(engine.keystrokeBuffer(), "");
    focus.set(field);
    type("g");
    clock.advance(1);
    EXPECT_EQ(backspaces(), 0);
    typeEach(";sig");
    clock.advance(1);
    EXPECT_EQ(backspaces(), 4);

    // Focus that moves to a password field while the clipboard is read: nothing is erased there.
    pasteboard.slowOwner = true;
    typeEach(";sig");
    focus.set(password);
    pasteboard.answerReads();
    clock.advance(1);
    EXPECT_EQ(backspaces(), 4);
    EXPECT_EQ(pasted().size(), 1u);
}

TEST(KeystrokeBufferTest, WipedStringsLeaveNoByteOfTheirStorage) {
    Character typed{std::string(40, 'p'), std::u16string(40, u'p')};
    const char* text = typed.text.data();
    const char16_t* decomposed = typed.decomposed.data();
    const auto textCapacity = typed.text.capacity(), decomposedCapacity = typed.decomposed.capacity();
    typed.text.resize(3);  // the rest of the storage still holds the longer text
    KeystrokeBuffer::wipe(typed);
    EXPECT_TRUE(typed.text.empty() && typed.decomposed.empty());
    ASSERT_EQ(typed.text.data(), text);
    EXPECT_EQ(std::string(text, textCapacity), std::string(textCapacity, '\0'));
    EXPECT_EQ(std::u16string(decomposed, decomposedCapacity), std::u16string(decomposedCapacity, u'\0'));
}

TEST_F(TextExpansionEngineTest, QuittingWaitsForThePendingRestoreAndStartsNoNewExpansion) {
    pasteboard.contents = std::vector<PasteboardItem>{FakePasteboard::textItem("mine")};
    startWith(";sig");
    typeEach(";sig");
    int idle = 0;
    engine.whenIdle([&] { ++idle; });
    clock.advance(0.549);
    EXPECT_EQ(idle, 0);
    EXPECT_EQ(pasteboard.string(), "EXPANDED");
    clock.advance(0.001);
    EXPECT_EQ(idle, 1);
    EXPECT_EQ(pasteboard.string(), "mine");
    typeEach(";sig");
    clock.advance(1);
    EXPECT_EQ(backspaces(), 4);
    engine.whenIdle([&] { ++idle; });
    EXPECT_EQ(idle, 2);  // nothing under way: at once

    // Still reading the clipboard: nothing was erased yet, so the expansion is simply dropped.
    ExpansionRig<VirtualClock> reading;
    reading.pasteboard.slowOwner = true;
    reading.reader.snippetTriggers = std::vector<Trigger>{{";sig", "EXPANDED", "plain", {}}};
    reading.engine.start();
    for (const char* key : {";", "s", "i", "g"}) reading.tap.stroke(std::string(key)), reading.clock.runPending();
    reading.engine.whenIdle([&] { ++idle; });
    EXPECT_EQ(idle, 3);
    reading.pasteboard.answerReads();
    reading.clock.advance(1);
    EXPECT_TRUE(reading.keyboard.events.empty());
    EXPECT_TRUE(reading.pasteboard.log.empty());
}

}  // namespace
}  // namespace velko::test
