#include "plist/PlistDefaultsSuite.h"
#include "platform/Log.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

namespace velko {

bool PlistDefaultsSuite::Identity::operator==(const Identity& other) const {
    if (present != other.present) return false;
    if (!present) return true;
    return device == other.device && inode == other.inode && size == other.size &&
           modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec &&
           changed.tv_sec == other.changed.tv_sec && changed.tv_nsec == other.changed.tv_nsec;
}

PlistDefaultsSuite::PlistDefaultsSuite(std::string path, std::size_t maxBytes)
    : path_(std::move(path)), maxBytes_(maxBytes) {}

std::optional<Bytes> PlistDefaultsSuite::data(const std::string& key) {
    refresh();
    return file_.data(key);
}

void PlistDefaultsSuite::refresh() {
    Identity now;
    struct stat st {};
    if (::stat(path_.c_str(), &st) == 0) {
        now = {true, st.st_dev, st.st_ino, st.st_size, st.st_mtim, st.st_ctim};
    } else if (errno != ENOENT) {
        // Without an identity there is nothing to compare, so the load below runs every time.
        const int cause = errno;
        file_ = PlistFile();
        loaded_.reset();
        report(std::string("cannot look at ") + path_ + ": " + std::strerror(cause));
        return;
    }
    if (loaded_ && *loaded_ == now) return;

    const auto loaded = file_.load(path_, maxBytes_);
    if (loaded) {
        loaded_ = now;
        lastReport_.clear();
    } else if (PlistFile::isInvalid(loaded.failure())) {
        loaded_ = now;
        report("shared defaults " + path_ + " read as empty: " + loaded.error());
        // A later bad version with the same reason still deserves its own line.
        lastReport_.clear();
    } else {
        // Not remembered: a passing failure (descriptors, I/O) is retried on the next key.
        loaded_.reset();
        report("shared defaults " + path_ + " read as empty: " + loaded.error());
    }
}

void PlistDefaultsSuite::report(const std::string& message) {
    if (message == lastReport_) return;
    lastReport_ = message;
    log::warning("%s", message.c_str());
}

}  // namespace velko
