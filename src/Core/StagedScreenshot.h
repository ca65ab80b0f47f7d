#pragma once
#include <chrono>
#include <cstdint>
#include <string>

#include "platform/Result.h"
#include "platform/Types.h"

namespace velko {

// One pair in the staging folder: <identifier>.data holds the file's bytes, <identifier>.json this
// record, five members whose values are all strings. The helper writes it, Velko and velkoctl read
// it; both directions live here so they cannot drift apart.
struct StagedScreenshot {
    std::string identifier;
    std::string filename;
    std::string timestamp;
    std::string ocrText;
    bool isVideo = false;
    std::uint64_t fileSize = 0;

    // The record as written: the five members (not the identifier, which names the file), compact.
    // Bytes of filename or text that are not UTF-8 become U+FFFD rather than losing the record.
    std::string toMetadata() const;
    // Fails with the reason when a member is missing, not a string, or (isVideo, fileSize) not in
    // its written form; members are looked up by key, others are ignored.
    static Result<StagedScreenshot> fromMetadata(const std::string& identifier, const Bytes& json);
    // The timestamp as written: UTC, whole seconds, "Z", e.g. 2024-05-01T08:30:12Z.
    static std::string timestampOf(std::chrono::system_clock::time_point moment);

    // The recognised text up to its first line break.
    std::string firstLine() const;
    // Oldest first; the identifier settles ties so the order is stable.
    bool operator<(const StagedScreenshot& other) const;
    bool operator==(const StagedScreenshot&) const = default;
};

}  // namespace velko
