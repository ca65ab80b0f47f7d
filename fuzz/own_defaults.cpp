// The helper's own defaults file, whatever was left there: storing a key keeps every key of a
// readable file, and an unreadable one is moved aside byte for byte rather than lost.
#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "Require.h"
#include "plist/PlistFile.h"
#include "plist/PlistUserDefaults.h"

using namespace velko;

namespace {

std::string configHome;
const std::string key = "onboardingComplete";

Bytes contents(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool loads(PlistFile& file, const std::string& path) {
    const auto loaded = file.load(path);
    return loaded && *loaded;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // On tmpfs where there is one: every run writes and syncs a file.
    std::string pattern = std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp";
    pattern += "/velko-fuzz-XXXXXX";
    if (!::mkdtemp(pattern.data())) std::abort();
    configHome = pattern;
    std::atexit([] { std::filesystem::remove_all(configHome); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes input(data, data + size);
    PlistUserDefaults defaults("/nonexistent", configHome);
    const std::string path = defaults.ownDefaultsPath();
    std::filesystem::remove_all(configHome + "/velko-helper");
    std::filesystem::create_directory(configHome + "/velko-helper");
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(data), std::streamsize(size));

    PlistFile expected;
    const bool readable = bool(expected.parse(input));
    const bool stored = defaults.setBool(key, true);

    PlistFile written;
    if (readable) {
        // As the helper writes it, in XML, where a key that a binary file holds twice counts once.
        expected.setBool(key, true);
        const auto xml = expected.serialize(PlistFile::Format::xml);
        if (!xml) {
            fuzz::require(!stored && contents(path) == input, "a file that cannot be rewritten is left as it was");
            return 0;
        }
        fuzz::require(stored, "the key is stored");
        fuzz::require(loads(written, path), "the stored file reads back");
        PlistFile asWritten;
        (void)asWritten.parse(*xml);
        fuzz::require(written.size() == asWritten.size(), "every other key is kept");
    } else {
        fuzz::require(stored, "the key is stored");
        fuzz::require(loads(written, path), "the stored file reads back");
        fuzz::require(written.size() == 1, "an unreadable file is not merged");
        fuzz::require(contents(path + ".corrupt") == input, "an unreadable file is kept aside unchanged");
    }
    fuzz::require(written.boolValue(key) == true, "the stored key reads back");
    return 0;
}
