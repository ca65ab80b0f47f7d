#pragma once
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/Types.h"

namespace velko {

// One item on the pasteboard: each type it offers with that type's bytes, in the owner's order.
struct PasteboardItem {
    std::vector<std::pair<std::string, Bytes>> types;
    bool operator==(const PasteboardItem&) const = default;
};

// The system clipboard that copy and paste use. Main thread only.
class Pasteboard {
public:
    virtual ~Pasteboard() = default;
    // Goes up by one each time the contents are replaced, by anyone; a clear and a write made
    // together by one of the calls below count once.
    virtual std::int64_t changeCount() = 0;
    // The items in order with every type whose bytes could be read; an empty list when nothing
    // is on it; nullopt when the pasteboard cannot be read at all.
    virtual std::optional<std::vector<PasteboardItem>> items() = 0;
    // What items() gives, read without holding up the main loop: done runs once, on the main thread
    // (at once when the contents are at hand); a type its owner is too slow to give is left out.
    virtual void readItems(std::function<void(std::optional<std::vector<PasteboardItem>>)> done) { done(items()); }
    // The plain text on it; nullopt when it holds no text.
    virtual std::optional<std::string> string() = 0;
    // Replaces the contents with nothing.
    virtual void clearContents() = 0;
    // Replaces the contents with one item holding `text` as plain text only.
    virtual void writeString(const std::string& text) = 0;
    // Replaces the contents with these items in order (a pasteboard with one item merges them,
    // earlier types first).
    virtual void writeItems(const std::vector<PasteboardItem>& items) = 0;
};

}  // namespace velko
