#pragma once
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Core/AbbreviationIndex.h"
#include "Core/KeystrokeBuffer.h"
#include "Core/Published.h"
#include "Core/SharedDataReader.h"
#include "platform/Pasteboard.h"

namespace velko {

class AccessibilityTrust;
class FocusTracker;
class GlobalHotkeyManager;
class KeyEventTap;
class KeystrokeInjector;
class MainQueue;
class UserSession;

// Watches typing everywhere; when the typed text ends with a trigger's abbreviation it erases the
// abbreviation, pastes the expansion and then puts the user's clipboard back.
class TextExpansionEngine {
public:
    using SnippetTrigger = SharedDataReader::SnippetTrigger;
    // Absent when the pasteboard could not be read: nothing is restored then.
    using Snapshot = std::optional<std::vector<PasteboardItem>>;

    // Key-downs that `hotkeys` takes never reach a window, so they leave the typed text alone.
    // Keys typed while `focus` reports a password field are neither kept nor matched.
    TextExpansionEngine(AccessibilityTrust& trust, SharedDataReader& reader, KeyEventTap& tap,
                        const GlobalHotkeyManager& hotkeys, Pasteboard& pasteboard, UserSession& session,
                        KeystrokeInjector& injector, MainQueue& mainQueue, FocusTracker& focus);
    static TextExpansionEngine& shared();

    // Once, at launch: without input access nothing happens; a tap that cannot be made leaves
    // the triggers loaded and the engine inactive.
    void start();
    void loadTriggers();

    Published<bool> isActive{false};
    std::string keystrokeBuffer() const { return buffer_.text(); }
    const AbbreviationIndex& triggers() const { return triggers_; }

    // Calls fn on the main thread once no expansion is under way (at once when none is): every
    // clipboard borrowed so far has been put back. An expansion still reading the clipboard has
    // erased nothing and is dropped; no new one starts after this call.
    void whenIdle(std::function<void()> fn);

    static constexpr std::size_t maxBufferLength = 50;
    static constexpr double pasteDelay = 0.05;
    static constexpr double restoreDelay = 0.5;

private:
    // A match whose clipboard snapshot is still being read: nothing is erased before it is done.
    struct Waiting {
        // Declared, not defaulted: clang must not judge it before the enclosing class is complete.
        Waiting() {}
        std::uint64_t id = 0;
        SnippetTrigger trigger;
        std::size_t typedLength = 0;
        std::int64_t savedChangeCount = 0;
        KeystrokeBuffer typedSince{maxBufferLength};  // text typed after the abbreviation meanwhile
    };

    void handleCharacter(const std::string& characters);
    // Text typed while the snapshot is read; false when a key was pressed that cannot be retyped.
    bool noteTypedMeanwhile(const std::string& characters);
    // typedLength: the abbreviation's characters as typed, each erased with one Backspace.
    void expand(const SnippetTrigger& trigger, std::size_t typedLength);
    void snapshotTaken(std::uint64_t id, Snapshot snapshot);
    void erase(std::uint64_t id, Snapshot snapshot);  // then the paste and restore steps
    void drop(const char* why);
    void finished();  // one expansion less under way
    std::string processDynamicVariables(const std::string& text, const std::string& clipboard);
    void paste(const std::string& text, std::int64_t savedChangeCount, Snapshot snapshot);
    void restore(std::int64_t savedChangeCount, const Snapshot& snapshot);
    static bool acceptsStroke(const std::string& characters);
    bool inPasswordField() const;
    void focusChanged();

    AccessibilityTrust& trust_;
    SharedDataReader& reader_;
    KeyEventTap& tap_;
    const GlobalHotkeyManager& hotkeys_;
    Pasteboard& pasteboard_;
    UserSession& session_;
    KeystrokeInjector& injector_;
    MainQueue& mainQueue_;
    FocusTracker& focus_;

    KeystrokeBuffer buffer_{maxBufferLength};
    AbbreviationIndex triggers_;
    std::optional<Waiting> waiting_;
    std::uint64_t nextId_ = 0;
    int underWay_ = 0;  // matched and not yet restored (or dropped)
    bool quitting_ = false;
    std::function<void()> whenIdle_;
};

}  // namespace velko
