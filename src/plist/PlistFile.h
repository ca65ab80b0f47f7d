#pragma once
// A property-list file whose root is a dictionary, as both the helper and the main application's
// defaults are stored. libplist types stay out of this header.
#include <sys/types.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "platform/Result.h"
#include "platform/Types.h"

namespace velko {

class PlistFile {
public:
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

    // Replaces the contents with the file's: true when loaded, false when nothing is at path.
    // A failure leaves an empty dictionary; see isInvalid for which failures may pass.
    Result<bool> load(const std::string& path, std::size_t maxBytes = maxFileBytes);
    // The same from bytes already in memory; a failure is always invalid.
    Result<void> parse(const Bytes& bytes);
    // Something is there but can never load (not a dictionary plist, not a file, too large), as
    // opposed to a refused read (permissions, I/O) that may work when tried again.
    static bool isInvalid(const Failure& failure);

    // The encoding of what was last loaded; xml for a dictionary that never was.
    Format format() const { return format_; }
    std::size_t size() const;

    // nullopt when the key is missing or holds another type.
    std::optional<Bytes> data(const std::string& key) const;
    std::optional<bool> boolValue(const std::string& key) const;
    std::optional<std::string> stringValue(const std::string& key) const;

    // Adds or replaces one key, whatever type it held; false only for a key libplist cannot hold.
    bool setData(const std::string& key, const Bytes& value);
    bool setBool(const std::string& key, bool value);
    // Also false for a value with a NUL inside, which a property-list string cannot hold.
    bool setString(const std::string& key, const std::string& value);

    // Fails when libplist cannot encode the dictionary so that its bytes read back.
    Result<Bytes> serialize(Format format) const;
    // Atomic: the file at path is either the old one or the complete new one.
    Result<void> save(const std::string& path, Format format = Format::xml, mode_t mode = 0600) const;

private:
    struct Free {
        void operator()(void* node) const;
    };
    void* item(const std::string& key) const;
    // terminated holds size bytes and a NUL after them, in case the parser peeks one byte too far.
    Result<void> adopt(const Bytes& terminated, std::size_t size);

    std::unique_ptr<void, Free> root_;
    Format format_ = Format::xml;
};

}  // namespace velko
