#pragma once
// In-memory keyboard tap, clipboard and user session for the text expansion engine.
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Core/GlobalHotkeyManager.h"
#include "Core/KeystrokeInjector.h"
#include "Core/TextExpansionEngine.h"
#include "fakes/FakePlatform.h"
#include "platform/KeyEventTap.h"
#include "platform/Pasteboard.h"
#include "platform/UserSession.h"

namespace velko::test {

class FakeKeyEventTap : public KeyEventTap {
public:
    bool start(Handler handler) override {
        ++starts;
        if (!canTap) return false;
        handler_ = std::move(handler);
        return true;
    }
    // One key-down reporting exactly these characters (nullopt: a modifier key alone).
    void stroke(std::optional<std::string> characters, KeyCode keyCode = 0, EventFlags flags = 0) {
        if (handler_) handler_(KeyEvent{keyCode, flags, std::move(characters)});
    }
    bool canTap = true;
    int starts = 0;

private:
    Handler handler_;
};

// Behaves like a one-owner clipboard: every replacement, clearing included, counts once.
class FakePasteboard : public Pasteboard {
public:
    std::int64_t changeCount() override { return count; }
    std::optional<std::vector<PasteboardItem>> items() override { return contents; }
    // With a slow owner the snapshot is handed over only when answerReads() says so.
    void readItems(std::function<void(std::optional<std::vector<PasteboardItem>>)> done) override {
        if (!slowOwner) return done(contents);
        pendingReads.push_back([done = std::move(done), snapshot = contents] { done(snapshot); });
    }
    void answerReads() {
        for (auto& answer : std::exchange(pendingReads, {})) answer();
    }
    std::optional<std::string> string() override {
        if (!contents) return std::nullopt;
        for (const auto& item : *contents)
            for (const auto& [type, bytes] : item.types)
                if (type == "text/plain") return std::string(bytes.begin(), bytes.end());
        return std::nullopt;
    }
    void clearContents() override { replace({}, "clear"); }
    void writeString(const std::string& text) override { replace({textItem(text)}, "write " + text); }
    void writeItems(const std::vector<PasteboardItem>& items) override { replace(items, "write items"); }

    // What another application does when the user copies.
    void userCopies(std::vector<PasteboardItem> items) { replace(std::move(items), "user copy"); }

    static PasteboardItem textItem(const std::string& text) {
        return {{{"text/plain", Bytes(text.begin(), text.end())}}};
    }

    bool slowOwner = false;
    std::vector<std::function<void()>> pendingReads;
    std::int64_t count = 0;
    std::optional<std::vector<PasteboardItem>> contents = std::vector<PasteboardItem>{};
    std::vector<std::string> log;

private:
    void replace(std::vector<PasteboardItem> items, std::string what) {
        contents = std::move(items);
        ++count;
        log.push_back(std::move(what));
    }
};

class FakeUserSession : public UserSession {
public:
    std::string accountName() override { return "ada"; }
    std::string fullName() override { return "Ada Lovelace"; }
    double currentTime() override { return now; }
    std::string formattingLocale() override { return locale; }
    std::string timeZone() override { return zone; }

    double now = 1794837900.0;  // 2026-11-16 14:05 UTC
    std::string locale = "en_US";
    std::string zone = "UTC";
};

// The engine on fakes. Queue is its clock and main queue in one: virtual for tests, immediate or Qt's
// loop for benchmarks; Tap is where its keys come from.
template <class Queue, class Tap = FakeKeyEventTap>
struct ExpansionRig {
    Queue clock;
    FakeKeyboard keyboard;
    FakeFocusTracker focus;
    KeystrokeInjector injector{clock, keyboard, focus};
    FakeTrust trust{true};
    FakeFileSystem fs;
    FakeDefaults defaults;
    SharedDataReader reader{fs, defaults};
    Tap tap;
    FakeFilteringKeyTap grabs;
    FakeNotificationCenter center;
    GlobalHotkeyManager hotkeys{grabs, clock, center, focus};
    FakePasteboard pasteboard;
    FakeUserSession session;
    TextExpansionEngine engine{trust, reader, tap, hotkeys, pasteboard, session, injector, clock, focus};
};

}  // namespace velko::test
