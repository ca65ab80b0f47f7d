#include "Core/CharacterSplitter.h"

#include <unicode/brkiter.h>
#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include <algorithm>

namespace velko {

CharacterSplitter::CharacterSplitter() {
    UErrorCode status = U_ZERO_ERROR;
    breaker_.reset(icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    if (U_FAILURE(status)) breaker_.reset();
    status = U_ZERO_ERROR;
    nfd_ = icu::Normalizer2::getNFDInstance(status);
    if (U_FAILURE(status)) nfd_ = nullptr;
}

CharacterSplitter::~CharacterSplitter() = default;

std::vector<Character> CharacterSplitter::split(std::string_view utf8) {
    // Printable ASCII is one character per byte and already decomposed; most typing is just that.
    if (std::all_of(utf8.begin(), utf8.end(), [](char c) { return c >= 0x20 && c < 0x7F; })) {
        std::vector<Character> out(utf8.size());
        for (std::size_t i = 0; i < utf8.size(); ++i) {
            out[i].text.assign(1, utf8[i]);
            out[i].decomposed.assign(1, static_cast<char16_t>(utf8[i]));
        }
        return out;
    }
    const icu::UnicodeString text =
        icu::UnicodeString::fromUTF8(icu::StringPiece(utf8.data(), static_cast<int32_t>(utf8.size())));
    std::vector<Character> out;
    auto add = [&](int32_t start, int32_t end) {
        const icu::UnicodeString piece(text, start, end - start);
        Character c;
        piece.toUTF8String(c.text);
        UErrorCode status = U_ZERO_ERROR;
        const icu::UnicodeString decomposed = nfd_ ? nfd_->normalize(piece, status) : piece;
        const icu::UnicodeString& chosen = U_SUCCESS(status) ? decomposed : piece;
        c.decomposed.assign(chosen.getBuffer(), static_cast<std::size_t>(chosen.length()));
        out.push_back(std::move(c));
    };
    if (!breaker_) {
        for (int32_t i = 0; i < text.length(); i = text.moveIndex32(i, 1)) add(i, text.moveIndex32(i, 1));
        return out;
    }
    breaker_->setText(text);
    int32_t start = breaker_->first();
    for (int32_t end = breaker_->next(); end != icu::BreakIterator::DONE; end = breaker_->next()) {
        add(start, end);
        start = end;
    }
    return out;
}

}  // namespace velko
