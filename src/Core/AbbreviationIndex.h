#pragma once
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "Core/SharedDataReader.h"

namespace velko {

class KeystrokeBuffer;

// The snippet triggers keyed by abbreviation, as a trie over the abbreviations' characters read
// from the end. Finding the trigger that ends the typed text walks at most as many steps as the
// buffer holds characters, however many triggers there are.
class AbbreviationIndex {
public:
    using SnippetTrigger = SharedDataReader::SnippetTrigger;

    // Replaces the table. Empty abbreviations are skipped; of two triggers with the same
    // abbreviation (canonically equivalent counts as the same) the later one stays.
    void build(const std::vector<SnippetTrigger>& triggers);
    // Number of distinct abbreviations.
    std::size_t size() const { return triggers_.size(); }

    struct Match {
        const SnippetTrigger* trigger = nullptr;  // null when no abbreviation ends the buffer
        std::size_t length = 0;                   // the abbreviation's length in characters
    };
    // The trigger whose abbreviation ends the buffer in whole, canonically equivalent characters,
    // the longest such abbreviation first.
    Match longestMatch(const KeystrokeBuffer& buffer) const;

private:
    static constexpr std::uint32_t root = 0;
    static constexpr std::int32_t none = -1;
    static std::uint64_t edge(std::uint32_t node, std::uint32_t character) {
        return (static_cast<std::uint64_t>(node) << 32) | character;
    }

    std::unordered_map<std::u16string, std::uint32_t> characterIds_;
    std::unordered_map<std::uint64_t, std::uint32_t> children_;
    std::vector<std::int32_t> triggerAtNode_;
    std::vector<SnippetTrigger> triggers_;
};

}  // namespace velko
