// The typing path of the text expansion: key-downs with the modifiers held, as any keyboard may
// send them, through the typed-text buffer, the abbreviations and the placeholders, on the unit
// tests' fakes with a fixed wall clock and a virtual main queue. The input is a list of events of
// two bytes, the first holding the kind in bits 0-1 and the modifiers in bits 2-7:
//   0  a key of `keys`, picked by the second byte
//   1  a key at no known position that types the 1-4 bytes that follow, UTF-8 or not
//   2  a modifier key alone at the position in the second byte
//   3  a pause of 4 ms times the second byte, for the paste and the restore to come due
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>

#include "Require.h"
#include "fakes/FakeExpansionPlatform.h"
#include "fakes/VirtualClock.h"

using namespace velko;
using namespace velko::test;

namespace {

// The abbreviations' letters, keys that edit or end the typed text, characters that take several
// bytes or join the one before, and what Ctrl makes of V and S.
struct Key {
    KeyCode position;
    const char* text;
};
// clang-format off
constexpr Key keys[] = {
    {1, "s"},  {34, "i"},    {5, "g"},    {41, ";"},    {2, "d"},            {8, "c"},  {0, "a"},  {3, "f"},
    {14, "e"}, {9, "v"},     {49, " "},   {18, "1"},    {51, "\x7f"},        {36, "\r"}, {48, "\t"}, {53, "\x1b"},
    {24, "="}, {21, "$"},    {27, "\xC3\x9F"},          {126, "\xEF\x9C\x80"} /* up arrow */,
    {14, "\xC3\xA9"},        {14, "\xCC\x81"} /* combining acute */,         {20, "\xF0\x9F\x98\x80"},
    {9, "\x16"} /* Ctrl+V */, {1, "\x13"} /* Ctrl+S */, {49, ""},
};
// clang-format on
constexpr EventFlags modifierBits[] = {Flags::shift,   Flags::command,  Flags::option,
                                       Flags::control, Flags::capsLock, Flags::numericPad};
const char* const placeholders[] = {"{date}", "{time}", "{clipboard}", "{uuid}", "{username}", "{fullname}"};

std::vector<SharedDataReader::SnippetTrigger> triggers() {
    return {{";sig", "Best regards,\n{fullname}", "plain", {}},
            {"sig", "{username}", "plain", {}},
            {";d", "{date} {time}", "plain", {}},
            {";caf\xC3\xA9", "{clipboard}/{uuid}/{clipboard}", "plain", {}},
            {"e\xCC\x81"
             "e",
             "{{date}}",
             "plain",
             {}}};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ExpansionRig<VirtualClock> rig;
    const std::vector<PasteboardItem> copied{{{{"text/plain", Bytes{'c', 'l', 'i', 'p'}}, {"image/png", Bytes{0x89}}}}};
    rig.pasteboard.contents = copied;
    rig.reader.snippetTriggers = triggers();
    rig.hotkeys.start();
    rig.engine.start();
    // A match shows as Backspaces posted while its key is handled. A second match before the first
    // one's restore (0.55 s) borrows the first's text as the clipboard to put back, so only
    // expansions apart are held to giving the user's clipboard back.
    double lastMatch = -1e9;
    bool overlapped = false;

    for (std::size_t at = 0; at + 1 < size; at += 2) {
        const std::uint8_t kind = data[at] & 3, detail = data[at + 1];
        EventFlags flags = 0;
        for (int bit = 0; bit < 6; ++bit)
            if (data[at] & (4 << bit)) flags |= modifierBits[bit];
        if (kind == 3) {
            rig.clock.advance(0.004 * detail);
            continue;
        }
        KeyCode position = detail;
        std::optional<std::string> text;
        if (kind == 0) {
            const Key& key = keys[detail % std::size(keys)];
            position = key.position;
            text = key.text;
        } else if (kind == 1) {
            const std::size_t length = std::min<std::size_t>(detail % 4 + 1, size - at - 2);
            text = std::string(reinterpret_cast<const char*>(data + at + 2), length);
            position = 0xFFFF;
            at += length;
        }
        const std::string before = rig.engine.keystrokeBuffer();
        const bool taken = rig.grabs.press(position, flags) == FilteringKeyTap::Verdict::drop;
        const std::size_t posted = rig.keyboard.events.size();
        rig.tap.stroke(text, position, flags);
        rig.clock.runPending();
        if (std::any_of(rig.keyboard.events.begin() + posted, rig.keyboard.events.end(),
                        [](const auto& event) { return event.keyCode == 51; })) {
            overlapped = overlapped || rig.clock.now() - lastMatch < 0.6;
            lastMatch = rig.clock.now();
        }
        if (taken) fuzz::require(rig.engine.keystrokeBuffer() == before, "a hotkey leaves the typed text alone");
    }
    rig.clock.advance(10);

    for (const auto& entry : rig.pasteboard.log)
        for (const char* placeholder : placeholders)
            fuzz::require(entry.find(placeholder) == std::string::npos, "every placeholder is filled");
    if (!overlapped) fuzz::require(rig.pasteboard.contents == copied, "the user's clipboard comes back");
    return 0;
}
