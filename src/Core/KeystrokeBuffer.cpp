#include "Core/KeystrokeBuffer.h"

namespace velko {

void KeystrokeBuffer::append(std::string_view utf8) {
    std::string joined;
    if (!characters_.empty()) {
        joined = std::move(characters_.back().text);
        characters_.pop_back();
    }
    joined.append(utf8);
    for (auto& c : splitter_.split(joined)) characters_.push_back(std::move(c));
    while (characters_.size() > maxLength_) characters_.pop_front();
}

void KeystrokeBuffer::removeLast() {
    if (!characters_.empty()) characters_.pop_back();
}

std::string KeystrokeBuffer::text() const {
    std::string out;
    for (const auto& c : characters_) out += c.text;
    return out;
}

}  // namespace velko
