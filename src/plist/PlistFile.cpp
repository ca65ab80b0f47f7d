#include "plist/PlistFile.h"

#include <plist/plist.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "posix/SafeFile.h"

namespace velko {
namespace {

// libplist takes C strings, so a key with a NUL in it would silently name a shorter key.
bool isUsableKey(const std::string& key) { return key.find('\0') == std::string::npos; }

const char* typeName(plist_type type) {
    switch (type) {
        case PLIST_BOOLEAN:
            return "a Boolean";
        case PLIST_UINT:
            return "an integer";
        case PLIST_REAL:
            return "a real";
        case PLIST_STRING:
            return "a string";
        case PLIST_ARRAY:
            return "an array";
        case PLIST_DATE:
            return "a date";
        case PLIST_DATA:
            return "data";
        case PLIST_KEY:
            return "a key";
        case PLIST_UID:
            return "a UID";
        default:
            return "of unknown type";
    }
}

// libplist 2.2 frees recursively and expands every reference to a shared binary object in full,
// so a file of a few hundred bytes could overflow the stack or never finish loading. Real
// defaults are shallow and small (the lists are JSON inside one data value), so anything past
// these limits is refused before parsing.
constexpr std::size_t maxDepth = 512;
constexpr std::uint64_t maxValues = std::uint64_t{1} << 16;

// Content that can never load: EINVAL, as for a file that is not a regular file.
Failure invalid(std::string why) { return Failure{std::move(why), EINVAL}; }

Failure tooDeep() { return invalid("nested deeper than " + std::to_string(maxDepth) + " levels"); }

Failure tooMany() { return invalid("more than " + std::to_string(maxValues) + " values"); }

Result<void> xmlWithinLimits(std::string_view text) {
    std::size_t depth = 0;
    std::uint64_t elements = 0;
    std::size_t at = 0;
    const auto skipPast = [&](std::string_view end) {
        const auto found = text.find(end, at);
        at = found == std::string_view::npos ? text.size() : found + end.size();
    };
    while ((at = text.find('<', at)) != std::string_view::npos) {
        const auto rest = text.substr(at);
        if (rest.starts_with("<!--")) {
            skipPast("-->");
        } else if (rest.starts_with("<![CDATA[")) {
            skipPast("]]>");
        } else if (rest.starts_with("<?") || rest.starts_with("<!")) {
            skipPast(">");
        } else {
            const auto close = text.find('>', at);
            if (close == std::string_view::npos) break;
            if (rest.starts_with("</")) {
                if (depth > 0) --depth;
            } else {
                if (++elements > maxValues) return tooMany();
                if (text[close - 1] != '/' && ++depth > maxDepth) return tooDeep();
            }
            at = close + 1;
        }
    }
    return {};
}

std::uint64_t bigEndian(const std::uint8_t* bytes, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) value = value << 8 | bytes[i];
    return value;
}

// Walks the object graph of a binary plist without libplist: depth, expanded size and cycles.
Result<void> binaryWithinLimits(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t headerSize = 8;
    constexpr std::size_t trailerSize = 32;
    const auto malformed = [] { return invalid("not a property list (malformed binary)"); };
    if (size < headerSize + trailerSize) return malformed();
    const std::uint8_t* trailer = data + size - trailerSize;
    const std::size_t offsetSize = trailer[6];
    const std::size_t refSize = trailer[7];
    const std::uint64_t count = bigEndian(trailer + 8, 8);
    const std::uint64_t top = bigEndian(trailer + 16, 8);
    const std::uint64_t table = bigEndian(trailer + 24, 8);
    const std::uint64_t tableEnd = size - trailerSize;
    if (offsetSize < 1 || offsetSize > 8 || refSize < 1 || refSize > 8 || count == 0 || top >= count ||
        table < headerSize || table > tableEnd || (tableEnd - table) / offsetSize < count)
        return malformed();
    if (count > maxValues) return tooMany();

    // An object's type and count (elements, or characters of a string), and where its contents start.
    const auto object = [&](std::uint64_t index, unsigned& type, std::uint64_t& n, std::uint64_t& at) {
        const std::uint64_t offset = bigEndian(data + table + index * offsetSize, offsetSize);
        if (offset < headerSize || offset >= table) return false;
        type = data[offset] >> 4;
        n = data[offset] & 0xF;
        at = offset + 1;
        const bool counted = type == 0x4 || type == 0x5 || type == 0x6 || type == 0xA || type == 0xC || type == 0xD;
        if (n == 0xF && counted) {
            if (at >= table || data[at] >> 4 != 0x1 || (data[at] & 0xF) > 3) return false;
            const std::size_t intSize = std::size_t{1} << (data[at] & 0xF);
            if (table - at - 1 < intSize) return false;
            n = bigEndian(data + at + 1, intSize);
            at += 1 + intSize;
        }
        return true;
    };
    // Where an object's references start, how many there are (none for scalars), and how many of
    // them are a dictionary's keys, which come first.
    const auto references = [&](std::uint64_t index, std::uint64_t& at, std::uint64_t& n, std::uint64_t& keys) {
        unsigned type = 0;
        keys = 0;
        if (!object(index, type, n, at)) return false;
        if (type != 0xA && type != 0xC && type != 0xD) {
            n = 0;
            return true;
        }
        if (type == 0xD) {
            if (n > UINT64_MAX / 2) return false;
            keys = n;
            n *= 2;
        }
        return n <= (table - at) / refSize;
    };
    // libplist aborts the process when it hands out a key with a NUL inside.
    const auto keyHasNul = [&](std::uint64_t index) {
        unsigned type = 0;
        std::uint64_t n = 0, at = 0;
        if (!object(index, type, n, at)) return false;  // malformed: libplist refuses it
        const std::uint64_t unit = type == 0x5 ? 1 : type == 0x6 ? 2 : 0;
        if (unit == 0 || n > (table - at) / unit) return false;
        for (std::uint64_t i = 0; i < n; ++i)
            if (bigEndian(data + at + i * unit, unit) == 0) return true;
        return false;
    };

    enum : std::uint8_t { unvisited, visiting, visited };
    std::vector<std::uint8_t> state(count, unvisited);
    std::vector<std::uint16_t> depthOf(count, 0);
    std::vector<std::uint32_t> valuesOf(count, 0);
    struct Frame {
        std::uint64_t index, at, left, keys;
        std::size_t childDepth;
        std::uint64_t values;
    };
    std::vector<Frame> stack;
    const auto enter = [&](std::uint64_t index) {
        std::uint64_t at = 0, n = 0, keys = 0;
        if (!references(index, at, n, keys)) return false;
        state[index] = visiting;
        stack.push_back({index, at, n, keys, 0, 1});
        return true;
    };
    if (!enter(top)) return malformed();
    while (!stack.empty()) {
        Frame& frame = stack.back();
        if (frame.left == 0) {
            const Frame finished = frame;
            stack.pop_back();
            state[finished.index] = visited;
            depthOf[finished.index] = static_cast<std::uint16_t>(finished.childDepth + 1);
            valuesOf[finished.index] = static_cast<std::uint32_t>(finished.values);
            if (!stack.empty()) {
                Frame& parent = stack.back();
                parent.childDepth = std::max(parent.childDepth, finished.childDepth + 1);
                if ((parent.values += finished.values) > maxValues) return tooMany();
            }
            continue;
        }
        const std::uint64_t child = bigEndian(data + frame.at, refSize);
        frame.at += refSize;
        --frame.left;
        if (child >= count) return malformed();
        if (frame.keys > 0 && (--frame.keys, keyHasNul(child))) return invalid("a dictionary key holds a NUL byte");
        if (state[child] == visiting) return invalid("not a property list (an object contains itself)");
        if (state[child] == visited) {
            // Shared objects count once per reference: that is how many libplist will build.
            frame.childDepth = std::max<std::size_t>(frame.childDepth, depthOf[child]);
            if ((frame.values += valuesOf[child]) > maxValues) return tooMany();
            continue;
        }
        if (stack.size() >= maxDepth) return tooDeep();
        if (!enter(child)) return malformed();
    }
    return {};
}

// A binary dictionary may name a key twice, which XML cannot say: written back as XML, the later
// value would win, so a key just stored could seem lost. Such a file is refused rather than
// rewritten; the helper only reads the top level. Keys with a NUL were refused before parsing,
// so walking the keys is safe.
bool repeatsAKey(plist_t dict) {
    std::set<std::string> seen;
    plist_dict_iter it = nullptr;
    plist_dict_new_iter(dict, &it);
    bool repeated = false;
    for (;;) {
        char* key = nullptr;
        plist_dict_next_item(dict, it, &key, nullptr);
        if (!key) break;
        repeated = repeated || !seen.insert(key).second;
        std::free(key);
    }
    std::free(it);
    return repeated;
}

}  // namespace

void PlistFile::Free::operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }

PlistFile::PlistFile() : root_(plist_new_dict()) {}
PlistFile::~PlistFile() = default;
PlistFile::PlistFile(PlistFile&& other) noexcept = default;
PlistFile& PlistFile::operator=(PlistFile&& other) noexcept = default;

Result<bool> PlistFile::load(const std::string& path, std::size_t maxBytes) {
    root_.reset(plist_new_dict());
    format_ = Format::xml;
    auto bytes = SafeFile::readRegularFile(path, maxBytes);
    if (!bytes) {
        if (bytes.cause() == ENOENT) return false;
        return bytes.failure();
    }
    const std::size_t size = bytes->size();
    bytes->push_back(0);
    if (auto adopted = adopt(*bytes, size); !adopted) return adopted.failure();
    return true;
}

bool PlistFile::isInvalid(const Failure& failure) { return failure.cause == EINVAL || failure.cause == EFBIG; }

Result<void> PlistFile::parse(const Bytes& bytes) {
    Bytes terminated;
    terminated.reserve(bytes.size() + 1);
    terminated.assign(bytes.begin(), bytes.end());
    terminated.push_back(0);
    return adopt(terminated, bytes.size());
}

Result<void> PlistFile::adopt(const Bytes& terminated, std::size_t size) {
    root_.reset(plist_new_dict());
    format_ = Format::xml;
    if (size > UINT32_MAX) return Failure{"too large for a property list", EFBIG};
    const auto* text = reinterpret_cast<const char*>(terminated.data());
    const auto length = static_cast<std::uint32_t>(size);

    const bool binary = plist_is_binary(text, length);
    auto withinLimits =
        binary ? binaryWithinLimits(terminated.data(), size) : xmlWithinLimits(std::string_view(text, size));
    if (!withinLimits) return withinLimits;

    plist_t parsed = nullptr;
    plist_from_memory(text, length, &parsed);
    std::unique_ptr<void, Free> owned(parsed);
    if (!parsed) return invalid("not a property list");
    if (plist_get_node_type(parsed) != PLIST_DICT)
        return invalid(std::string("its root is ") + typeName(plist_get_node_type(parsed)) + ", not a dictionary");
    if (binary && repeatsAKey(parsed)) return invalid("a dictionary key appears twice");
    root_ = std::move(owned);
    format_ = binary ? Format::binary : Format::xml;
    return {};
}

std::size_t PlistFile::size() const { return root_ ? plist_dict_get_size(root_.get()) : 0; }

void* PlistFile::item(const std::string& key) const {
    if (!root_ || !isUsableKey(key)) return nullptr;
    return plist_dict_get_item(root_.get(), key.c_str());
}

std::optional<Bytes> PlistFile::data(const std::string& key) const {
    const plist_t node = item(key);
    if (plist_get_node_type(node) != PLIST_DATA) return std::nullopt;
    std::uint64_t length = 0;
    const char* bytes = plist_get_data_ptr(node, &length);
    if (!bytes || length == 0) return Bytes{};
    const auto* begin = reinterpret_cast<const std::uint8_t*>(bytes);
    return Bytes(begin, begin + length);
}

std::optional<bool> PlistFile::boolValue(const std::string& key) const {
    const plist_t node = item(key);
    if (plist_get_node_type(node) != PLIST_BOOLEAN) return std::nullopt;
    std::uint8_t value = 0;
    plist_get_bool_val(node, &value);
    return value != 0;
}

std::optional<std::string> PlistFile::stringValue(const std::string& key) const {
    const plist_t node = item(key);
    if (plist_get_node_type(node) != PLIST_STRING) return std::nullopt;
    std::uint64_t length = 0;
    const char* text = plist_get_string_ptr(node, &length);
    if (!text) return std::nullopt;
    return std::string(text, length);
}

bool PlistFile::setString(const std::string& key, const std::string& value) {
    // libplist keeps strings NUL-terminated.
    if (!isUsableKey(key) || value.find('\0') != std::string::npos) return false;
    if (!root_) root_.reset(plist_new_dict());
    plist_dict_set_item(root_.get(), key.c_str(), plist_new_string(value.c_str()));
    return true;
}

bool PlistFile::setData(const std::string& key, const Bytes& value) {
    if (!isUsableKey(key)) return false;
    if (!root_) root_.reset(plist_new_dict());
    plist_dict_set_item(root_.get(), key.c_str(),
                        plist_new_data(reinterpret_cast<const char*>(value.data()), value.size()));
    return true;
}

bool PlistFile::setBool(const std::string& key, bool value) {
    if (!isUsableKey(key)) return false;
    if (!root_) root_.reset(plist_new_dict());
    plist_dict_set_item(root_.get(), key.c_str(), plist_new_bool(value ? 1 : 0));
    return true;
}

Result<Bytes> PlistFile::serialize(Format format) const {
    PlistFile empty;
    const plist_t root = root_ ? root_.get() : empty.root_.get();
    char* out = nullptr;
    std::uint32_t length = 0;
    if (format == Format::binary)
        plist_to_bin(root, &out, &length);
    else
        plist_to_xml(root, &out, &length);
    if (!out) return Failure{"libplist could not encode the dictionary"};
    const auto* begin = reinterpret_cast<const std::uint8_t*>(out);
    Bytes bytes(begin, begin + length);
    if (format == Format::binary)
        plist_to_bin_free(out);
    else
        plist_to_xml_free(out);
    // libplist can write what it cannot read (a binary string holding bytes that are not UTF-8);
    // such a file must never replace one that reads.
    if (PlistFile check; !check.parse(bytes))
        return Failure{"libplist could not encode the dictionary so that it reads back"};
    return bytes;
}

Result<void> PlistFile::save(const std::string& path, Format format, mode_t mode) const {
    const auto bytes = serialize(format);
    if (!bytes) return bytes.failure();
    return SafeFile::writeAtomically(path, *bytes, mode);
}

}  // namespace velko
