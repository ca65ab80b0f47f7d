#pragma once
// Whole files and directory listings in one call, for tests that check what landed on disk.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/Types.h"

namespace velko::test {

inline Bytes bytesOf(const std::string& text) { return Bytes(text.begin(), text.end()); }

// Creates the missing directories on the way.
inline void writeFile(const std::string& path, const std::string& contents) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << contents;
}

inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The names in a directory, sorted.
inline std::vector<std::string> entries(const std::string& dir) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace velko::test
