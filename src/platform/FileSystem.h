#pragma once
#include <string>

namespace velko {

class FileSystem {
public:
    virtual ~FileSystem() = default;
    // The current user's home directory, without a trailing slash.
    virtual std::string homeDirectory() = 0;
    // Whether anything (file, directory, other node) exists at path; false on any error.
    virtual bool exists(const std::string& path) = 0;
    // Creates path and its missing parents; true when it exists as a directory afterwards.
    virtual bool createDirectories(const std::string& path) = 0;
};

}  // namespace velko
