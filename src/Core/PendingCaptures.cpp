#include "Core/PendingCaptures.h"
#include "platform/Log.h"

#include <cstdio>
#include <nlohmann/json.hpp>

#include "Core/JsonFields.h"

namespace velko {

bool PendingCapture::sameFile(const FileLook& a, const FileLook& b) {
    return a.kind == FileLook::Kind::regular && b.kind == FileLook::Kind::regular && a.device == b.device &&
           a.inode == b.inode && a.size == b.size && a.modifiedNanoseconds == b.modifiedNanoseconds;
}

namespace {

Result<PendingCapture> decode(const nlohmann::json& object) {
    PendingCapture out;
    std::int64_t device = 0, inode = 0, size = 0;
    const auto read = JsonFields(object)
                          .string("identifier", out.identifier)
                          .string("source", out.source)
                          .string("filename", out.filename)
                          .integer("device", device)
                          .integer("inode", inode)
                          .integer("size", size)
                          .integer("modified", out.seen.modifiedNanoseconds)
                          .result();
    if (!read) return read.failure();
    if (!object.contains("isVideo") || !object["isVideo"].is_boolean()) return Failure{"isVideo: not a boolean"};
    // The identifier becomes part of a file name.
    if (out.identifier.empty() || out.identifier.find_first_of("/.") != std::string::npos)
        return Failure{"identifier: not a plain name"};
    out.isVideo = object["isVideo"].get<bool>();
    out.seen.kind = FileLook::Kind::regular;
    out.seen.device = static_cast<std::uint64_t>(device);
    out.seen.inode = static_cast<std::uint64_t>(inode);
    out.seen.size = static_cast<std::uint64_t>(size);
    return out;
}

}  // namespace

std::vector<PendingCapture> PendingCaptures::load() {
    entries_.clear();
    const std::string text = journal_.load();
    if (text.empty()) return {};
    const auto json = nlohmann::json::parse(text, nullptr, false);
    if (!json.is_array()) {
        log::warning("the captures left unstaged by the last run are lost: not a JSON array");
        return {};
    }
    std::vector<PendingCapture> loaded;
    for (std::size_t i = 0; i < json.size(); ++i) {
        const auto capture = decode(json[i]);
        if (!capture) {
            log::warning("a capture left unstaged by the last run is lost: entry %zu: %s", i, capture.error().c_str());
            continue;
        }
        entries_[capture->identifier] = *capture;
        loaded.push_back(*capture);
    }
    return loaded;
}

void PendingCaptures::add(const PendingCapture& capture) {
    entries_[capture.identifier] = capture;
    save();
}

void PendingCaptures::remove(const std::string& identifier) {
    if (entries_.erase(identifier)) save();
}

void PendingCaptures::save() {
    auto json = nlohmann::json::array();
    for (const auto& [identifier, capture] : entries_)
        json.push_back({{"identifier", identifier},
                        {"source", capture.source},
                        {"filename", capture.filename},
                        {"isVideo", capture.isVideo},
                        {"device", static_cast<std::int64_t>(capture.seen.device)},
                        {"inode", static_cast<std::int64_t>(capture.seen.inode)},
                        {"size", static_cast<std::int64_t>(capture.seen.size)},
                        {"modified", capture.seen.modifiedNanoseconds}});
    journal_.save(json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

}  // namespace velko
