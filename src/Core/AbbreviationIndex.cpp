#include "Core/AbbreviationIndex.h"

#include "Core/CharacterSplitter.h"
#include "Core/KeystrokeBuffer.h"

namespace velko {

void AbbreviationIndex::build(const std::vector<SnippetTrigger>& triggers) {
    characterIds_.clear();
    children_.clear();
    triggers_.clear();
    triggerAtNode_.assign(1, none);

    CharacterSplitter splitter;
    for (const auto& trigger : triggers) {
        const auto characters = splitter.split(trigger.abbreviation);
        if (characters.empty()) continue;
        std::uint32_t node = root;
        for (auto it = characters.rbegin(); it != characters.rend(); ++it) {
            const auto id = characterIds_.try_emplace(it->decomposed, characterIds_.size()).first->second;
            const auto [child, added] = children_.try_emplace(edge(node, id), triggerAtNode_.size());
            if (added) triggerAtNode_.push_back(none);
            node = child->second;
        }
        if (triggerAtNode_[node] == none) {
            triggerAtNode_[node] = static_cast<std::int32_t>(triggers_.size());
            triggers_.push_back(trigger);
        } else {
            triggers_[static_cast<std::size_t>(triggerAtNode_[node])] = trigger;
        }
    }
}

AbbreviationIndex::Match AbbreviationIndex::longestMatch(const KeystrokeBuffer& buffer) const {
    Match found;
    std::uint32_t node = root;
    for (std::size_t i = 0; i < buffer.size(); ++i) {
        const auto id = characterIds_.find(buffer.fromEnd(i).decomposed);
        if (id == characterIds_.end()) break;
        const auto child = children_.find(edge(node, id->second));
        if (child == children_.end()) break;
        node = child->second;
        // Deeper is longer, so the last trigger met on the way wins.
        if (triggerAtNode_[node] != none) found = {&triggers_[static_cast<std::size_t>(triggerAtNode_[node])], i + 1};
    }
    return found;
}

}  // namespace velko
