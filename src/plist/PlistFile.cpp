#include "plist/PlistFile.h"

#include <plist/plist.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "plist/BinaryPlistLimits.h"
#include "posix/SafeFile.h"

namespace velko {
namespace {

// What libplist hands over (keys, encodings, iterators) is malloc'ed and ours to free.
struct FreeMalloced {
    void operator()(void* block) const { std::free(block); }
};
using Text = std::unique_ptr<char, FreeMalloced>;

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

Result<void> binaryWithinLimits(const std::uint8_t* data, std::size_t size) {
    using Verdict = BinaryPlistLimits::Verdict;
    switch (BinaryPlistLimits::check(data, size, maxDepth, maxValues)) {
        case Verdict::within:
            return {};
        case Verdict::malformed:
            break;
        case Verdict::tooDeep:
            return tooDeep();
        case Verdict::tooMany:
            return tooMany();
        case Verdict::containsItself:
            return invalid("not a property list (an object contains itself)");
        case Verdict::nulInKey:
            return invalid("a dictionary key holds a NUL byte");
    }
    return invalid("not a property list (malformed binary)");
}

// A binary dictionary may name a key twice, which XML cannot say: written back as XML, the later
// value would win, so a key just stored could seem lost. Such a file is refused rather than
// rewritten; the helper only reads the top level. Keys with a NUL were refused before parsing,
// so walking the keys is safe.
bool repeatsAKey(plist_t dict) {
    std::set<std::string> seen;
    plist_dict_iter it = nullptr;
    plist_dict_new_iter(dict, &it);
    const std::unique_ptr<void, FreeMalloced> iterator(it);
    bool repeated = false;
    for (;;) {
        char* next = nullptr;
        plist_dict_next_item(dict, it, &next, nullptr);
        const Text key(next);
        if (!key) break;
        repeated = repeated || !seen.insert(key.get()).second;
    }
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
    char* encoded = nullptr;
    std::uint32_t length = 0;
    if (format == Format::binary)
        plist_to_bin(root, &encoded, &length);
    else
        plist_to_xml(root, &encoded, &length);
    const Text out(encoded);
    if (!out) return Failure{"libplist could not encode the dictionary"};
    const auto* begin = reinterpret_cast<const std::uint8_t*>(out.get());
    Bytes bytes(begin, begin + length);
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
