#include "Core/TextExpansionEngine.h"

#include "Core/HelperServices.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <cstdio>

#include "Core/GlobalHotkeyManager.h"
#include "Core/KeystrokeInjector.h"
#include "Core/LocaleDateFormatter.h"
#include "Core/UUIDGenerator.h"

namespace velko {
namespace {

constexpr char backspaceCharacter[] = "\x7f";

void replaceAll(std::string& text, const std::string& placeholder, const std::string& value) {
    for (auto at = text.find(placeholder); at != std::string::npos; at = text.find(placeholder, at + value.size()))
        text.replace(at, placeholder.size(), value);
}

}  // namespace

TextExpansionEngine::TextExpansionEngine(AccessibilityTrust& trust, SharedDataReader& reader, KeyEventTap& tap,
                                         const GlobalHotkeyManager& hotkeys, Pasteboard& pasteboard,
                                         UserSession& session, KeystrokeInjector& injector, MainQueue& mainQueue)
    : trust_(trust),
      reader_(reader),
      tap_(tap),
      hotkeys_(hotkeys),
      pasteboard_(pasteboard),
      session_(session),
      injector_(injector),
      mainQueue_(mainQueue) {}

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
    isActive = true;
    std::fprintf(stderr, "velko-helper: text expansion on, %zu abbreviations\n", triggers_.size());
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

void TextExpansionEngine::handleCharacter(const std::string& characters) {
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
        expand(*match.trigger, match.length);
        buffer_.clear();
    }
}

void TextExpansionEngine::expand(const SnippetTrigger& trigger, std::size_t typedLength) {
    const std::int64_t savedChangeCount = pasteboard_.changeCount();
    Snapshot snapshot = pasteboard_.items();
    // Before anything is written, so {clipboard} still sees the user's own text.
    std::string text = processDynamicVariables(trigger.expansion);

    for (std::size_t i = 0; i < typedLength; ++i) injector_.injectKeystroke(KeyCodes::backspace, 0, false);

    mainQueue_.asyncAfter(pasteDelay,
                          [this, text = std::move(text), savedChangeCount, snapshot = std::move(snapshot)]() mutable {
                              paste(text, savedChangeCount, std::move(snapshot));
                          });
}

void TextExpansionEngine::paste(const std::string& text, std::int64_t savedChangeCount, Snapshot snapshot) {
    pasteboard_.writeString(text);
    // May be dropped by the rate limit; the clipboard comes back all the same.
    injector_.injectKeystroke(KeyCodes::v, Flags::command, true);
    mainQueue_.asyncAfter(restoreDelay, [this, savedChangeCount, snapshot = std::move(snapshot)] {
        restore(savedChangeCount, snapshot);
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

std::string TextExpansionEngine::processDynamicVariables(const std::string& text) {
    // Every value is taken once, in this order, whether or not its placeholder occurs.
    const double now = session_.currentTime();
    const LocaleDateFormatter formatter(session_.formattingLocale(), session_.timeZone());
    const std::string date = formatter.mediumDate(now);
    const std::string time = formatter.shortTime(now);
    const std::string clipboard = pasteboard_.string().value_or("");
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
