#pragma once
// A property-list file whose root is a dictionary, as both the helper and the main application's
// defaults are stored. libplist types stay out of this header.
#include <sys/types.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "platform/Types.h"

namespace velko {

class PlistFile {
public:
    enum class LoadStatus {
        ok,
        missing,     // Nothing at the path.
        invalid,     // Something is there but can never load: not a dictionary plist, not a file, too large.
        unreadable,  // The system refused the read (permissions, I/O); trying again may work.
    };
    enum class Format { xml, binary };

    // Far above any real defaults file, yet bounded so a stray huge file cannot exhaust memory.
    static constexpr std::size_t maxFileBytes = std::size_t{64} << 20;

    // An empty dictionary.
    PlistFile();
    ~PlistFile();
    PlistFile(PlistFile&& other) noexcept;
    PlistFile& operator=(PlistFile&& other) noexcept;
    PlistFile(const PlistFile&) = delete;
    PlistFile& operator=(const PlistFile&) = delete;

    // Replaces the contents with the file's; anything but ok leaves an empty dictionary and, for
    // invalid and unreadable, the reason in error.
    LoadStatus load(const std::string& path, std::string* error = nullptr, std::size_t maxBytes = maxFileBytes);
    // The same from bytes already in memory: ok or invalid.
    LoadStatus parse(const Bytes& bytes, std::string* error = nullptr);

    // The encoding of what was last loaded; xml for a dictionary that never was.
    Format format() const { return format_; }
    std::size_t size() const;

    // nullopt when the key is missing or holds another type.
    std::optional<Bytes> data(const std::string& key) const;
    std::optional<bool> boolValue(const std::string& key) const;

    // Adds or replaces one key, whatever type it held; false only for a key libplist cannot hold.
    bool setData(const std::string& key, const Bytes& value);
    bool setBool(const std::string& key, bool value);

    // nullopt, with the reason in error, unless the bytes read back as a dictionary.
    std::optional<Bytes> serialize(Format format, std::string* error = nullptr) const;
    // Atomic: the file at path is either the old one or the complete new one.
    bool save(const std::string& path, std::string* error = nullptr, Format format = Format::xml,
              mode_t mode = 0600) const;

private:
    struct Free {
        void operator()(void* node) const;
    };
    void* item(const std::string& key) const;
    // terminated holds size bytes and a NUL after them, in case the parser peeks one byte too far.
    LoadStatus adopt(const Bytes& terminated, std::size_t size, std::string* error);

    std::unique_ptr<void, Free> root_;
    Format format_ = Format::xml;
};

}  // namespace velko
