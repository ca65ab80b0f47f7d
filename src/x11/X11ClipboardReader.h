#pragma once
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "platform/Pasteboard.h"

namespace velko {

// Reads every type the CLIPBOARD's owner offers, on the calling thread over an X connection of
// its own, so a slow owner holds up nobody else. Types are named as Qt names them (the text
// targets become "text/plain"), so what is read can be written back through QClipboard.
class X11ClipboardReader {
public:
    struct Result {
        // nullopt: no display, or an owner that does not even list its types in time.
        std::optional<std::vector<PasteboardItem>> items;
        std::vector<std::string> late;  // types that did not come within their deadline
    };

    // Each type (and each piece of a large one) must come within perType; reading stops once
    // `total` has passed, and the types not read by then count as late.
    static Result read(std::chrono::milliseconds perType, std::chrono::milliseconds total);
};

}  // namespace velko
