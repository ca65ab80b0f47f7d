#pragma once
#include <cstddef>
#include <deque>
#include <string>
#include <string_view>

#include "Core/CharacterSplitter.h"

namespace velko {

// The most recent typed characters, oldest first, counted in whole characters.
class KeystrokeBuffer {
public:
    explicit KeystrokeBuffer(std::size_t maxLength) : maxLength_(maxLength) {}

    // Appends and keeps the last maxLength characters. The last character is segmented again
    // with the new text, so a combining mark typed on its own joins the letter before it.
    void append(std::string_view utf8);
    void removeLast();
    void clear() { characters_.clear(); }

    std::size_t size() const { return characters_.size(); }
    bool empty() const { return characters_.empty(); }
    std::string text() const;
    // 0 is the last character.
    const Character& fromEnd(std::size_t index) const { return characters_[characters_.size() - 1 - index]; }

private:
    std::size_t maxLength_;
    std::deque<Character> characters_;
    CharacterSplitter splitter_;
};

}  // namespace velko
