#pragma once
// A defaults suite read from its property-list file. The file is reloaded only when it has been
// replaced or changed since the last read, so a long-lived suite sees the main application's
// updates without parsing a large unchanged file for every key.
#include <sys/types.h>

#include <cstddef>
#include <ctime>
#include <optional>
#include <string>

#include "platform/UserDefaults.h"
#include "plist/PlistFile.h"

namespace velko {

class PlistDefaultsSuite : public DefaultsSuite {
public:
    explicit PlistDefaultsSuite(std::string path, std::size_t maxBytes = PlistFile::maxFileBytes);

    // Anything wrong with the file reads as an empty suite, with one line on stderr per bad version.
    std::optional<Bytes> data(const std::string& key) override;

    const std::string& path() const { return path_; }

private:
    struct Identity {
        bool present = false;
        dev_t device = 0;
        ino_t inode = 0;
        off_t size = 0;
        timespec modified{};
        timespec changed{};
        bool operator==(const Identity& other) const;
    };

    void refresh();
    void report(const std::string& message);

    std::string path_;
    std::size_t maxBytes_;
    PlistFile file_;
    std::optional<Identity> loaded_;
    std::string lastReport_;
};

}  // namespace velko
