// Any bytes as the name of a file in the screenshot folder: judged without harm, and taken only
// when it ends in .png or .mov in any case.
#include <cstddef>
#include <cstdint>
#include <string>

#include "Core/ScreenshotWatcher.h"
#include "Require.h"

using namespace velko;

namespace {

bool endsWithCaseless(const std::string& name, const std::string& suffix) {
    if (name.size() < suffix.size()) return false;
    for (std::size_t i = 0; i < suffix.size(); ++i) {
        const unsigned char c = name[name.size() - suffix.size() + i];
        if ((c >= 'A' && c <= 'Z' ? c + 32 : c) != static_cast<unsigned char>(suffix[i])) return false;
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string name(reinterpret_cast<const char*>(data), size);
    switch (ScreenshotWatcher::classifyName(name)) {
        case ScreenshotWatcher::NameKind::image:
            fuzz::require(endsWithCaseless(name, ".png"), "an image is named .png");
            break;
        case ScreenshotWatcher::NameKind::video:
            fuzz::require(endsWithCaseless(name, ".mov"), "a video is named .mov");
            break;
        case ScreenshotWatcher::NameKind::rejected:
            break;
    }
    return 0;
}
