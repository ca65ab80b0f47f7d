#include "plist/BinaryPlistLimits.h"

#include <algorithm>

namespace velko {
namespace {

// The file: "bplist00", the objects, the offset table, then a trailer of 32 bytes.
constexpr std::size_t headerSize = 8;
constexpr std::size_t trailerSize = 32;
// Inside the trailer.
constexpr std::size_t offsetSizeAt = 6, refSizeAt = 7, countAt = 8, topAt = 16, tableAt = 24;

// An object's first byte: its type in the high nibble, its count in the low one, where
// countFollows means that an integer object after the marker holds the count.
namespace Marker {
constexpr unsigned integer = 0x1;
constexpr unsigned data = 0x4;
constexpr unsigned asciiString = 0x5;
constexpr unsigned utf16String = 0x6;
constexpr unsigned array = 0xA;
constexpr unsigned set = 0xC;
constexpr unsigned dictionary = 0xD;
constexpr unsigned countFollows = 0xF;
constexpr unsigned largestIntegerSizeLog2 = 3;
}  // namespace Marker

bool isCounted(unsigned type) {
    return type == Marker::data || type == Marker::asciiString || type == Marker::utf16String ||
           type == Marker::array || type == Marker::set || type == Marker::dictionary;
}
bool isContainer(unsigned type) { return type == Marker::array || type == Marker::set || type == Marker::dictionary; }

}  // namespace

BinaryPlistLimits::Verdict BinaryPlistLimits::check(const std::uint8_t* data, std::size_t size, std::size_t maxDepth,
                                                    std::uint64_t maxValues) {
    BinaryPlistLimits limits(data, size, maxDepth, maxValues);
    if (const Verdict trailer = limits.readTrailer(); trailer != Verdict::within) return trailer;
    return limits.walk();
}

BinaryPlistLimits::BinaryPlistLimits(const std::uint8_t* data, std::size_t size, std::size_t maxDepth,
                                     std::uint64_t maxValues)
    : data_(data), size_(size), maxDepth_(maxDepth), maxValues_(maxValues) {}

std::uint64_t BinaryPlistLimits::bigEndian(std::uint64_t at, std::size_t bytes) const {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < bytes; ++i) value = value << 8 | data_[at + i];
    return value;
}

BinaryPlistLimits::Verdict BinaryPlistLimits::readTrailer() {
    if (size_ < headerSize + trailerSize) return Verdict::malformed;
    const std::uint64_t trailer = size_ - trailerSize;
    offsetSize_ = data_[trailer + offsetSizeAt];
    refSize_ = data_[trailer + refSizeAt];
    count_ = bigEndian(trailer + countAt, 8);
    top_ = bigEndian(trailer + topAt, 8);
    table_ = bigEndian(trailer + tableAt, 8);
    if (offsetSize_ < 1 || offsetSize_ > 8 || refSize_ < 1 || refSize_ > 8 || count_ == 0 || top_ >= count_ ||
        table_ < headerSize || table_ > trailer || (trailer - table_) / offsetSize_ < count_)
        return Verdict::malformed;
    if (count_ > maxValues_) return Verdict::tooMany;
    return Verdict::within;
}

std::optional<BinaryPlistLimits::Object> BinaryPlistLimits::object(std::uint64_t index) const {
    const std::uint64_t offset = bigEndian(table_ + index * offsetSize_, offsetSize_);
    if (offset < headerSize || offset >= table_) return std::nullopt;
    Object o{static_cast<unsigned>(data_[offset] >> 4), data_[offset] & 0xFu, offset + 1};
    if (o.count == Marker::countFollows && isCounted(o.type)) {
        if (o.at >= table_ || data_[o.at] >> 4 != Marker::integer ||
            (data_[o.at] & 0xFu) > Marker::largestIntegerSizeLog2)
            return std::nullopt;
        const std::size_t intSize = std::size_t{1} << (data_[o.at] & 0xF);
        if (table_ - o.at - 1 < intSize) return std::nullopt;
        o.count = bigEndian(o.at + 1, intSize);
        o.at += 1 + intSize;
    }
    return o;
}

std::optional<BinaryPlistLimits::References> BinaryPlistLimits::references(std::uint64_t index) const {
    const auto o = object(index);
    if (!o) return std::nullopt;
    if (!isContainer(o->type)) return References{o->at, 0, 0};
    References r{o->at, o->count, 0};
    if (o->type == Marker::dictionary) {
        if (r.count > UINT64_MAX / 2) return std::nullopt;
        r.keys = r.count;
        r.count *= 2;
    }
    if (r.count > (table_ - r.at) / refSize_) return std::nullopt;
    return r;
}

bool BinaryPlistLimits::keyHasNul(std::uint64_t index) const {
    const auto o = object(index);
    if (!o) return false;  // malformed: libplist refuses it
    const std::size_t unit = o->type == Marker::asciiString ? 1 : o->type == Marker::utf16String ? 2 : 0;
    if (unit == 0 || o->count > (table_ - o->at) / unit) return false;
    for (std::uint64_t i = 0; i < o->count; ++i)
        if (bigEndian(o->at + i * unit, unit) == 0) return true;
    return false;
}

bool BinaryPlistLimits::enter(std::uint64_t index) {
    const auto r = references(index);
    if (!r) return false;
    state_[index] = visiting;
    stack_.push_back({index, r->at, r->count, r->keys, 0, 1});
    return true;
}

// The object on top is done: its depth and expanded size count towards its parent's.
BinaryPlistLimits::Verdict BinaryPlistLimits::leave() {
    const Frame finished = stack_.back();
    stack_.pop_back();
    state_[finished.index] = visited;
    depthOf_[finished.index] = static_cast<std::uint16_t>(finished.childDepth + 1);
    valuesOf_[finished.index] = static_cast<std::uint32_t>(finished.values);
    if (stack_.empty()) return Verdict::within;
    Frame& parent = stack_.back();
    parent.childDepth = std::max(parent.childDepth, finished.childDepth + 1);
    if ((parent.values += finished.values) > maxValues_) return Verdict::tooMany;
    return Verdict::within;
}

BinaryPlistLimits::Verdict BinaryPlistLimits::visit(Frame& frame, std::uint64_t child) {
    if (child >= count_) return Verdict::malformed;
    if (frame.keys > 0 && (--frame.keys, keyHasNul(child))) return Verdict::nulInKey;
    if (state_[child] == visiting) return Verdict::containsItself;
    if (state_[child] == visited) {
        // Shared objects count once per reference: that is how many libplist will build.
        frame.childDepth = std::max<std::size_t>(frame.childDepth, depthOf_[child]);
        if ((frame.values += valuesOf_[child]) > maxValues_) return Verdict::tooMany;
        return Verdict::within;
    }
    if (stack_.size() >= maxDepth_) return Verdict::tooDeep;
    return enter(child) ? Verdict::within : Verdict::malformed;
}

// Depth first without recursion, so that the walk itself cannot overflow the stack.
BinaryPlistLimits::Verdict BinaryPlistLimits::walk() {
    state_.assign(count_, unvisited);
    depthOf_.assign(count_, 0);
    valuesOf_.assign(count_, 0);
    if (!enter(top_)) return Verdict::malformed;
    while (!stack_.empty()) {
        Frame& frame = stack_.back();
        Verdict verdict = Verdict::within;
        if (frame.left == 0) {
            verdict = leave();
        } else {
            const std::uint64_t child = bigEndian(frame.at, refSize_);
            frame.at += refSize_;
            --frame.left;
            verdict = visit(frame, child);
        }
        if (verdict != Verdict::within) return verdict;
    }
    return Verdict::within;
}

}  // namespace velko
