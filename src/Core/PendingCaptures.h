#pragma once
#include <map>
#include <string>
#include <vector>

#include "platform/CaptureFiles.h"
#include "platform/CaptureJournal.h"

namespace velko {

// A capture found complete and not yet staged, as the journal keeps it across runs.
struct PendingCapture {
    // Names its kept copy in the staging folder and, once staged, its pair.
    std::string identifier;
    std::string source;
    std::string filename;
    bool isVideo = false;
    // The source when it was found complete: a later run copies it again only if it is unchanged.
    FileLook seen;

    // The same file, unchanged: device, inode, size and modification time.
    static bool sameFile(const FileLook& a, const FileLook& b);
};

// The captures not yet staged, saved whole to the journal on every change, so that one stopped
// mid-way is finished at the next start.
class PendingCaptures {
public:
    explicit PendingCaptures(CaptureJournal& journal) : journal_(journal) {}

    // What the journal holds; an entry that cannot be read is said on stderr and left out.
    std::vector<PendingCapture> load();
    void add(const PendingCapture& capture);
    void remove(const std::string& identifier);

private:
    void save();

    CaptureJournal& journal_;
    std::map<std::string, PendingCapture> entries_;
};

}  // namespace velko
