#include "Core/KeystrokeBuffer.h"

#include <string.h>

namespace velko {

void KeystrokeBuffer::append(std::string_view utf8) {
    // Sized once, so that no copy of these characters is left behind by a reallocation.
    std::string joined;
    joined.reserve((characters_.empty() ? 0 : characters_.back().text.size()) + utf8.size());
    if (!characters_.empty()) {
        joined = characters_.back().text;
        removeLast();
    }
    joined.append(utf8);
    auto split = splitter_.split(joined);
    wipe(joined);
    for (auto& c : split) {
        characters_.push_back(c);
        wipe(c);
    }
    while (characters_.size() > maxLength_) dropFront();
}

void KeystrokeBuffer::removeLast() {
    if (characters_.empty()) return;
    wipe(characters_.back());
    characters_.pop_back();
}

void KeystrokeBuffer::dropFront() {
    wipe(characters_.front());
    characters_.pop_front();
}

void KeystrokeBuffer::clear() {
    for (auto& c : characters_) wipe(c);
    characters_.clear();
}

void KeystrokeBuffer::wipe(std::string& text) {
    // Up to the capacity: a shorter string may have replaced a longer one in the same storage.
    text.resize(text.capacity());
    explicit_bzero(text.data(), text.size());
    text.clear();
}

void KeystrokeBuffer::wipe(Character& character) {
    wipe(character.text);
    character.decomposed.resize(character.decomposed.capacity());
    explicit_bzero(character.decomposed.data(), character.decomposed.size() * sizeof(char16_t));
    character.decomposed.clear();
}

std::string KeystrokeBuffer::text() const {
    std::string out;
    for (const auto& c : characters_) out += c.text;
    return out;
}

}  // namespace velko
