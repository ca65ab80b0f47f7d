#pragma once
#include <string>

#include "platform/FileSystem.h"

namespace velko {

class PosixFileSystem : public FileSystem {
public:
    // $HOME when set and non-empty, else the password database's entry; trailing slashes dropped
    // (the root directory stays "/"). Empty only when neither source knows the user.
    static std::string currentHomeDirectory();

    std::string homeDirectory() override { return currentHomeDirectory(); }
    // stat semantics: symlinks are followed, so a dangling one does not exist.
    bool exists(const std::string& path) override;
    // New directories get mode 0700: everything the helper creates is private to the user.
    bool createDirectories(const std::string& path) override;
};

}  // namespace velko
