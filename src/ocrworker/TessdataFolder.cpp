#include "ocrworker/TessdataFolder.h"

#include <unistd.h>

namespace velko {

TessdataFolder::TessdataFolder(const Environment& environment) {
    const char* prefix = environment("TESSDATA_PREFIX");
    // As the library does, a TESSDATA_PREFIX that names nothing is passed over.
    path_ = prefix && *prefix && ::access(prefix, F_OK) == 0 ? prefix : VELKO_TESSDATA_DIR;
    while (path_.size() > 1 && path_.back() == '/') path_.pop_back();
}

bool TessdataFolder::has(const std::string& code) const {
    if (code.empty() || code.find('/') != std::string::npos || code.front() == '.') return false;
    return ::access((path_ + "/" + code + ".traineddata").c_str(), R_OK) == 0;
}

}  // namespace velko
