#pragma once
#include <cstddef>
#include <deque>
#include <string>
#include <string_view>

#include "Core/CharacterSplitter.h"

namespace velko {

// The most recent typed characters, oldest first, counted in whole characters. What leaves it is
// zeroed first: typed keys may be a password, and freed memory ends up in other hands (a core, a swap).
class KeystrokeBuffer {
public:
    explicit KeystrokeBuffer(std::size_t maxLength) : maxLength_(maxLength) {}
    ~KeystrokeBuffer() { clear(); }

    // Appends and keeps the last maxLength characters. The last character is segmented again
    // with the new text, so a combining mark typed on its own joins the letter before it.
    void append(std::string_view utf8);
    void removeLast();
    void clear();

    std::size_t size() const { return characters_.size(); }
    bool empty() const { return characters_.empty(); }
    std::string text() const;
    // 0 is the last character.
    const Character& fromEnd(std::size_t index) const { return characters_[characters_.size() - 1 - index]; }

    // Zeroes every byte the strings own, their unused capacity included, and empties them.
    static void wipe(std::string& text);
    static void wipe(Character& character);

private:
    void dropFront();
    std::size_t maxLength_;
    std::deque<Character> characters_;
    CharacterSplitter splitter_;
};

}  // namespace velko
