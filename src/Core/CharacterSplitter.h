#pragma once
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <unicode/uversion.h>

U_NAMESPACE_BEGIN
class BreakIterator;
class Normalizer2;
U_NAMESPACE_END

namespace velko {

// One user-perceived character (an extended grapheme cluster).
struct Character {
    std::string text;           // as written, UTF-8
    std::u16string decomposed;  // canonical decomposition (NFD): equal for canonically equivalent characters
};

// Splits text into characters by ICU's grapheme cluster rules. Reuses one break iterator, so
// keep an instance rather than making one per call.
class CharacterSplitter {
public:
    CharacterSplitter();
    ~CharacterSplitter();
    CharacterSplitter(const CharacterSplitter&) = delete;
    CharacterSplitter& operator=(const CharacterSplitter&) = delete;

    // Malformed UTF-8 becomes U+FFFD. Without ICU's break data every code point is a character.
    std::vector<Character> split(std::string_view utf8);

private:
    std::unique_ptr<icu::BreakIterator> breaker_;
    const icu::Normalizer2* nfd_ = nullptr;
};

}  // namespace velko
