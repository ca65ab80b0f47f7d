#pragma once
#include <string>

namespace velko {

// A small file of the helper's own, kept across runs, that remembers the captures not yet staged.
class CaptureJournal {
public:
    virtual ~CaptureJournal() = default;
    // The text last saved; empty when there is none or it cannot be read (the reason on stderr).
    virtual std::string load() = 0;
    // Replaces the journal whole: a reader sees the old text or the new; false (the reason on
    // stderr, the old text kept) on failure.
    virtual bool save(const std::string& contents) = 0;
};

}  // namespace velko
