#pragma once
#include <cstdint>
#include <optional>
#include <string>

#include "platform/Types.h"

namespace velko {

// One pair in the staging folder, as Velko reads it: <identifier>.data holds the file's bytes,
// <identifier>.json its metadata, five members whose values are all strings.
struct StagedScreenshot {
    std::string identifier;
    std::string filename;
    std::string timestamp;
    std::string ocrText;
    bool isVideo = false;
    std::uint64_t fileSize = 0;

    // nullopt, with the reason in error, when a member is missing, not a string, or (isVideo,
    // fileSize) not in its written form; members are looked up by key, others are ignored.
    static std::optional<StagedScreenshot> fromMetadata(const std::string& identifier, const Bytes& json,
                                                        std::string& error);
    // The recognised text up to its first line break.
    std::string firstLine() const;
    // Oldest first; the identifier settles ties so the order is stable.
    bool operator<(const StagedScreenshot& other) const;
};

}  // namespace velko
