#pragma once
#include <functional>
#include <string>

namespace velko {

// The folder Tesseract loads its language models from, read the way the library reads it:
// TESSDATA_PREFIX when it names something (the folder itself), else the one it was built with.
class TessdataFolder {
public:
    using Environment = std::function<const char*(const char*)>;

    explicit TessdataFolder(const Environment& environment);

    const std::string& path() const { return path_; }
    // Whether the model of a language code ("deu") is there and readable; false for a code that
    // names no file of the folder ("../x").
    bool has(const std::string& code) const;

private:
    std::string path_;
};

}  // namespace velko
