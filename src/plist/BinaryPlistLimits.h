#pragma once
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace velko {

// Walks the object graph of a binary property list (bplist00) without libplist, which recurses
// and expands shared objects in full: how deep it nests, how many values it expands to with
// every reference counted, cycles, and dictionary keys with a NUL (libplist aborts on those).
class BinaryPlistLimits {
public:
    enum class Verdict { within, malformed, tooDeep, tooMany, containsItself, nulInKey };

    // data holds size bytes; it must outlive the call.
    static Verdict check(const std::uint8_t* data, std::size_t size, std::size_t maxDepth, std::uint64_t maxValues);

private:
    // An object's marker type, its count (elements, or characters of a string) and where its
    // contents start.
    struct Object {
        unsigned type;
        std::uint64_t count;
        std::uint64_t at;
    };
    // Where an object's references start, how many there are (none for scalars) and how many of
    // them are a dictionary's keys, which come first.
    struct References {
        std::uint64_t at, count, keys;
    };
    struct Frame {
        std::uint64_t index, at, left, keys;
        std::size_t childDepth;
        std::uint64_t values;
    };
    enum State : std::uint8_t { unvisited, visiting, visited };

    BinaryPlistLimits(const std::uint8_t* data, std::size_t size, std::size_t maxDepth, std::uint64_t maxValues);
    Verdict readTrailer();
    Verdict walk();
    bool enter(std::uint64_t index);
    Verdict leave();
    Verdict visit(Frame& frame, std::uint64_t child);
    std::optional<Object> object(std::uint64_t index) const;
    std::optional<References> references(std::uint64_t index) const;
    bool keyHasNul(std::uint64_t index) const;
    std::uint64_t bigEndian(std::uint64_t at, std::size_t bytes) const;

    const std::uint8_t* data_;
    const std::size_t size_;
    const std::size_t maxDepth_;
    const std::uint64_t maxValues_;
    std::size_t offsetSize_ = 0, refSize_ = 0;
    std::uint64_t count_ = 0, top_ = 0, table_ = 0;
    std::vector<std::uint8_t> state_;
    std::vector<std::uint16_t> depthOf_;
    std::vector<std::uint32_t> valuesOf_;
    std::vector<Frame> stack_;
};

}  // namespace velko
