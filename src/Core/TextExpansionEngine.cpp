#include "Core/TextExpansionEngine.h"
#include "platform/Log.h"

#include "Core/HelperServices.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <cstdio>
#include <utility>

#include "Core/GlobalHotkeyManager.h"
#include "Core/KeystrokeInjector.h"
#include "Core/LocaleDateFormatter.h"
#include "Core/UUIDGenerator.h"
#include "platform/FocusTracker.h"

namespace velko {
namespace {

constexpr char backspaceCharacter[] = "\x7f";

void replaceAll(std::string& text, const std::string& placeholder, const std::string& value) {
    for (auto at = text.find(placeholder); at != std::string::npos; at = text.find(placeholder, at + value.size()))
        text.replace(at, placeholder.size(), value);
}

// Not a control character, nor a function key's private-use character, nor malformed.
bool isPrintable(const std::string& characters) {
    UChar32 first = 0;
    int32_t offset = 0;
    U8_NEXT(characters.data(), offset, static_cast<int32_t>(characters.size()), first);
    constexpr std::uint32_t unprintable = U_GC_CC_MASK | U_GC_CO_MASK | U_GC_CS_MASK | U_GC_CN_MASK;
    return !characters.empty() && first >= 0 && (U_GET_GC_MASK(first) & unprintable) == 0;
}

std::string plainText(const TextExpansionEngine::Snapshot& snapshot) {
    if (!snapshot) return "";
    for (const char* wanted : {"text/plain", "text/plain;charset=utf-8"})
        for (const auto& item : *snapshot)
            for (const auto& [type, bytes] : item.types)
                if (type == wanted) return std::string(bytes.begin(), bytes.end());
    return "";
}

}  // namespace

TextExpansionEngine::TextExpansionEngine(AccessibilityTrust& trust, SharedDataReader& reader, KeyEventTap& tap,
                                         const GlobalHotkeyManager& hotkeys, Pasteboard& pasteboard,
                                         UserSession& session, KeystrokeInjector& injector, MainQueue& mainQueue,
                                         FocusTracker& focus)
    : trust_(trust),
      reader_(reader),
      tap_(tap),
      hotkeys_(hotkeys),
      pasteboard_(pasteboard),
      session_(session),
      injector_(injector),
      mainQueue_(mainQueue),
      focus_(focus) {}

TextExpansionEngine& TextExpansionEngine::shared() { return *HelperServices::current().expansion; }

void TextExpansionEngine::start() {
    if (!trust_.isProcessTrusted()) return;
    loadTriggers();
    const bool tapped = tap_.start([this](const KeyEvent& event) {
        if (!event.characters) return;
        // The listening tap sees a hotkey's press too, though the grab kept it from every window.
        if (hotkeys_.takes(event.keyCode, event.flags)) return;
        // The tap's delivery only hands over; the buffer work runs as its own task, in stroke order.
        mainQueue_.async([this, characters = *event.characters] { handleCharacter(characters); });
    });
    if (!tapped) return;
    focus_.onChange([this] { focusChanged(); });
    isActive = true;
    log::info("text expansion on, %zu abbreviations", triggers_.size());
}

void TextExpansionEngine::loadTriggers() { triggers_.build(reader_.snippetTriggers.get()); }

bool TextExpansionEngine::acceptsStroke(const std::string& characters) {
    UChar32 first = 0;
    int32_t offset = 0;
    U8_NEXT(characters.data(), offset, static_cast<int32_t>(characters.size()), first);
    if (first < 0) return false;  // malformed UTF-8
    if (first == 0x20) return true;
    if (u_hasBinaryProperty(first, UCHAR_ALPHABETIC)) return true;
    if (u_getIntPropertyValue(first, UCHAR_NUMERIC_TYPE) != U_NT_NONE) return true;
    constexpr std::uint32_t punctuation =
        U_GC_PC_MASK | U_GC_PD_MASK | U_GC_PS_MASK | U_GC_PE_MASK | U_GC_PI_MASK | U_GC_PF_MASK | U_GC_PO_MASK;
    return (U_GET_GC_MASK(first) & punctuation) != 0;
}

bool TextExpansionEngine::inPasswordField() const {
    const auto focus = focus_.focus();
    return focus && focus->passwordField;
}

void TextExpansionEngine::focusChanged() {
    if (!inPasswordField()) return;
    // The report may come a few keys late: those went in before it and must go as well.
    buffer_.clear();
    if (waiting_) drop("a password field took the focus");
}

void TextExpansionEngine::handleCharacter(const std::string& characters) {
    if (inPasswordField()) return;
    if (waiting_) {
        if (!noteTypedMeanwhile(characters)) drop("a key that cannot be typed again was pressed meanwhile");
        return;
    }
    if (characters == backspaceCharacter) {
        buffer_.removeLast();
        return;
    }
    if (characters.empty() || !acceptsStroke(characters)) {
        buffer_.clear();
        return;
    }
    buffer_.append(characters);
    if (const auto match = triggers_.longestMatch(buffer_); match.trigger) {
        if (!quitting_) expand(*match.trigger, match.length);
        buffer_.clear();
    }
}

bool TextExpansionEngine::noteTypedMeanwhile(const std::string& characters) {
    KeystrokeBuffer& typed = waiting_->typedSince;
    if (characters == backspaceCharacter) {
        if (typed.empty()) return false;  // into the abbreviation itself
        typed.removeLast();
        return true;
    }
    // Text can go back after the snippet as it was typed; Return, arrows or a shortcut cannot.
    if (!isPrintable(characters) || typed.size() + 1 >= maxBufferLength) return false;
    typed.append(characters);
    return true;
}

void TextExpansionEngine::expand(const SnippetTrigger& trigger, std::size_t typedLength) {
    const std::uint64_t id = ++nextId_;
    waiting_.emplace();
    waiting_->id = id;
    waiting_->trigger = trigger;
    waiting_->typedLength = typedLength;
    waiting_->savedChangeCount = pasteboard_.changeCount();
    ++underWay_;
    // An owner may be slow to give each type: nothing is erased until all of them are in, and
    // the main loop goes on meanwhile.
    pasteboard_.readItems([this, id](Snapshot snapshot) { snapshotTaken(id, std::move(snapshot)); });
}

void TextExpansionEngine::snapshotTaken(std::uint64_t id, Snapshot snapshot) {
    // One more turn first: keys typed before now are queued ahead of it, so they count among
    // those typed meanwhile instead of being erased unseen.
    mainQueue_.async([this, id, snapshot = std::move(snapshot)]() mutable { erase(id, std::move(snapshot)); });
}

void TextExpansionEngine::erase(std::uint64_t id, Snapshot snapshot) {
    if (!waiting_ || waiting_->id != id) return;  // dropped meanwhile
    // Taken from the snapshot, before anything is written, so {clipboard} is the user's own text.
    std::string text = processDynamicVariables(waiting_->trigger.expansion, plainText(snapshot));
    // What was typed after the abbreviation while the clipboard was read is erased with it and
    // comes back after the snippet, so the person's words stay where they typed them.
    text += waiting_->typedSince.text();
    const std::size_t erase = waiting_->typedLength + waiting_->typedSince.size();
    const std::int64_t saved = waiting_->savedChangeCount;
    waiting_.reset();
    for (std::size_t i = 0; i < erase; ++i) injector_.injectKeystroke(KeyCodes::backspace, 0, false);

    mainQueue_.asyncAfter(pasteDelay, [this, text = std::move(text), saved, snapshot = std::move(snapshot)]() mutable {
        paste(text, saved, std::move(snapshot));
    });
}

void TextExpansionEngine::paste(const std::string& text, std::int64_t savedChangeCount, Snapshot snapshot) {
    pasteboard_.writeString(text);
    // May be dropped by the rate limit; the clipboard comes back all the same.
    injector_.injectKeystroke(KeyCodes::v, Flags::command, true);
    mainQueue_.asyncAfter(restoreDelay, [this, savedChangeCount, snapshot = std::move(snapshot)] {
        restore(savedChangeCount, snapshot);
        finished();
    });
}

void TextExpansionEngine::restore(std::int64_t savedChangeCount, const Snapshot& snapshot) {
    // Anything but exactly our own write means someone copied since: theirs stays.
    if (pasteboard_.changeCount() != savedChangeCount + 1) return;
    if (!snapshot) return;
    if (snapshot->empty()) {
        pasteboard_.clearContents();
        return;
    }
    pasteboard_.writeItems(*snapshot);
}

void TextExpansionEngine::drop(const char* why) {
    log::warning("the expansion of %s was dropped before erasing anything: %s", waiting_->trigger.abbreviation.c_str(),
                 why);
    waiting_.reset();
    finished();
}

void TextExpansionEngine::finished() {
    --underWay_;
    if (underWay_ == 0 && whenIdle_) std::exchange(whenIdle_, nullptr)();
}

void TextExpansionEngine::whenIdle(std::function<void()> fn) {
    quitting_ = true;
    if (underWay_ == 0) return fn();
    whenIdle_ = std::move(fn);
    if (waiting_) drop("the helper is quitting");
}

std::string TextExpansionEngine::processDynamicVariables(const std::string& text, const std::string& clipboard) {
    // Every value is taken once, in this order, whether or not its placeholder occurs.
    const double now = session_.currentTime();
    const LocaleDateFormatter formatter(session_.formattingLocale(), session_.timeZone());
    const std::string date = formatter.mediumDate(now);
    const std::string time = formatter.shortTime(now);
    const std::string uuid = UUIDGenerator::random();
    const std::string account = session_.accountName();
    const std::string fullName = session_.fullName();

    // One after another on the growing text: a placeholder inside an earlier value is filled
    // by a later step, never by an earlier one.
    std::string out = text;
    replaceAll(out, "{date}", date);
    replaceAll(out, "{time}", time);
    replaceAll(out, "{clipboard}", clipboard);
    replaceAll(out, "{uuid}", uuid);
    replaceAll(out, "{username}", account);
    replaceAll(out, "{fullname}", fullName);
    return out;
}

}  // namespace velko
