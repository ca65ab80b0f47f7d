#include <gtest/gtest.h>
#include <plist/plist.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "plist/PlistFile.h"
#include "plist/PlistUserDefaults.h"

#include "fakes/FileContents.h"
#include "fakes/ScopedEnv.h"
#include "fakes/TempDir.h"

namespace velko::test {
namespace {

namespace fs = std::filesystem;

const std::string suiteName = "group.app.velko";

struct PlistDeleter {
    void operator()(plist_t node) const { plist_free(node); }
};
using Plist = std::unique_ptr<void, PlistDeleter>;

std::string encode(plist_t node, bool binary) {
    char* out = nullptr;
    std::uint32_t length = 0;
    (binary ? plist_to_bin : plist_to_xml)(node, &out, &length);
    std::string text(out, length);
    (binary ? plist_to_bin_free : plist_to_xml_free)(out);
    return text;
}

plist_t dataNode(const std::string& bytes) { return plist_new_data(bytes.data(), bytes.size()); }

// Encoded by libplist itself, so a fault in PlistFile cannot hide in both halves of a test.
std::string plistOf(const std::vector<std::pair<const char*, plist_t>>& items, bool binary = false) {
    Plist root(plist_new_dict());
    for (const auto& [key, value] : items) plist_dict_set_item(root.get(), key, value);
    return encode(root.get(), binary);
}

// Each key with its value as XML, so whole dictionaries compare in one expectation, in any order.
std::map<std::string, std::string> contentsOf(const std::string& text) {
    plist_t parsed = nullptr;
    plist_from_memory(text.data(), static_cast<std::uint32_t>(text.size()), &parsed);
    const Plist root(parsed);
    std::map<std::string, std::string> out;
    if (plist_get_node_type(root.get()) != PLIST_DICT) return {{"", "not a dictionary"}};
    plist_dict_iter it = nullptr;
    plist_dict_new_iter(root.get(), &it);
    char* key = nullptr;
    plist_t value = nullptr;
    for (plist_dict_next_item(root.get(), it, &key, &value); key; plist_dict_next_item(root.get(), it, &key, &value)) {
        out[key] = encode(value, false);
        std::free(key);
    }
    std::free(it);
    return out;
}

// One line of the helper's own: a bad file is reported once, not at every read.
bool saidOnce(const std::string& said) {
    return said.rfind("velko-helper: ", 0) == 0 && std::count(said.begin(), said.end(), '\n') == 1;
}

class DefaultsTest : public ::testing::Test {
protected:
    TempDir home;
    std::string config = home / "config";
    PlistUserDefaults defaults{home.path(), config};
    // Spelled out rather than taken from the code under test: it is where the main application looks.
    std::string suiteFile = home / "Library/Group Containers/group.app.velko/Library/Preferences/group.app.velko.plist";
    std::string ownFile = config + "/velko-helper/app.velko.helper.plist";
    std::map<std::string, std::string> onboarded = contentsOf(plistOf({{"onboardingComplete", plist_new_bool(1)}}));
};

// --- The shared suite -------------------------------------------------------------------------

using SharedSuite = DefaultsTest;

TEST_F(SharedSuite, ReadsDataValuesOfAnySizeAndNothingElseFromXmlAndBinaryFiles) {
    std::string big(10 * 1000 * 1000, '\0');
    for (std::size_t i = 0; i < big.size(); ++i) big[i] = "[{\"a\":\"b\"},"[i % 11];
    const std::string raw("\x00\xff\x10\x80\x00", 5);
    for (const bool binary : {false, true}) {
        SCOPED_TRACE(binary ? "binary" : "xml");
        writeFile(suiteFile, plistOf({{"big", dataNode(big)},
                                      {"raw", dataNode(raw)},
                                      {"empty", dataNode("")},
                                      {"aString", plist_new_string("[1,2]")},
                                      {"aBool", plist_new_bool(1)},
                                      {"aNumber", plist_new_uint(7)}},
                                     binary));
        const auto suite = defaults.openSuite(suiteName);
        ASSERT_TRUE(suite);
        EXPECT_EQ(suite->data("big"), bytesOf(big));
        EXPECT_EQ(suite->data("raw"), bytesOf(raw));
        EXPECT_EQ(suite->data("empty"), Bytes{});
        // Values of other types are absent to the helper, not reinterpreted.
        for (const auto& key : std::vector<std::string>{"missing", "aString", "aBool", "aNumber", {"raw\0x", 5}})
            EXPECT_EQ(suite->data(key), std::nullopt) << key;
    }
}

TEST_F(SharedSuite, UnusableAndHostileFilesReadAsEmptyAndSaySoOnce) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(defaults.openSuite(suiteName)->data("k"), std::nullopt);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "a missing file is an empty suite, quietly";

    // The deep, shared and cyclic files are seeds of the shared_suite fuzz target, each a property list
    // but for being just past a limit: libplist 2.2 would overflow its stack on the deep ones, build
    // 2^40 arrays for the shared one and never finish the cyclic one.
    const auto seed = [](const std::string& name) {
        return readFile(VELKO_SOURCE_DIR "/fuzz/corpus/shared_suite/" + name);
    };
    Plist array(plist_new_array());
    const std::string binary = plistOf({{"k", dataNode("[]")}}, true);
    const std::vector<std::pair<std::string, std::string>> contents{
        {"this is not a property list at all", "not a property list"},
        {encode(array.get(), false), "its root is an array, not a dictionary"},
        {binary.substr(0, binary.size() / 2), "not a property list"},
        {seed("deep.xml"), "nested deeper than 512 levels"},
        {seed("deep.bin"), "nested deeper than 512 levels"},
        {seed("shared.bin"), "more than 65536 values"},
        {seed("cyclic.bin"), "an object contains itself"},
    };
    for (const auto& [text, reason] : contents) {
        SCOPED_TRACE(reason);
        writeFile(suiteFile, text);
        testing::internal::CaptureStderr();
        const auto suite = defaults.openSuite(suiteName);
        EXPECT_EQ(suite->data("k"), std::nullopt);
        EXPECT_EQ(suite->data("k"), std::nullopt);
        const std::string said = testing::internal::GetCapturedStderr();
        EXPECT_TRUE(saidOnce(said)) << said;
        EXPECT_NE(said.find(reason), std::string::npos) << said;
    }
}

// --- The helper's own defaults ----------------------------------------------------------------

using HelperDefaults = DefaultsTest;

TEST_F(HelperDefaults, FirstWriteCreatesPrivateDirectoriesAndAnXmlFile) {
    ASSERT_TRUE(defaults.setBool("onboardingComplete", true));
    const std::string text = readFile(ownFile);
    EXPECT_EQ(text.rfind("<?xml", 0), 0u);
    EXPECT_EQ(contentsOf(text), onboarded);
    for (const std::string& path : {ownFile, config + "/velko-helper"}) {
        struct stat st {};
        ASSERT_EQ(::stat(path.c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 077, 0u) << path;
    }
    EXPECT_EQ(entries(config + "/velko-helper"), std::vector<std::string>{"app.velko.helper.plist"});
}

TEST_F(HelperDefaults, KeepsEveryOtherKeyOfAnXmlOrBinaryFile) {
    for (const bool binary : {false, true}) {
        SCOPED_TRACE(binary ? "binary" : "xml");
        const auto others = [] {
            Plist nested(plist_new_dict());
            plist_dict_set_item(nested.get(), "inner", plist_new_uint(42));
            return std::vector<std::pair<const char*, plist_t>>{{"blob", dataNode(std::string("\1\2\3\0\xff", 5))},
                                                                {"name", plist_new_string("kept")},
                                                                {"otherFlag", plist_new_bool(1)},
                                                                {"nested", nested.release()}};
        };
        auto before = others();
        before.emplace_back("onboardingComplete", plist_new_bool(1));
        writeFile(ownFile, plistOf(before, binary));

        ASSERT_TRUE(defaults.setBool("onboardingComplete", false));
        ASSERT_TRUE(defaults.setBool("newFlag", true));
        auto after = others();
        after.emplace_back("onboardingComplete", plist_new_bool(0));
        after.emplace_back("newFlag", plist_new_bool(1));
        EXPECT_EQ(contentsOf(readFile(ownFile)), contentsOf(plistOf(after)));
        EXPECT_EQ(entries(config + "/velko-helper"), std::vector<std::string>{"app.velko.helper.plist"});
    }
}

TEST_F(HelperDefaults, UnusableFileOrDirectoryIsMovedAsideNeverOverwritten) {
    Plist array(plist_new_array());
    const std::string first = "not a plist \x01\x02", second = encode(array.get(), false);
    writeFile(ownFile, first);
    testing::internal::CaptureStderr();
    ASSERT_TRUE(defaults.setBool("onboardingComplete", true));
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(saidOnce(said));
    EXPECT_NE(said.find(".corrupt"), std::string::npos);
    EXPECT_EQ(readFile(ownFile + ".corrupt"), first);
    EXPECT_EQ(contentsOf(readFile(ownFile)), onboarded);

    // A second bad file must not take the place of the first one's copy, nor may a directory be lost.
    writeFile(ownFile, second);
    testing::internal::CaptureStderr();
    ASSERT_TRUE(defaults.setBool("onboardingComplete", true));
    fs::remove(ownFile);
    writeFile(ownFile + "/inside", "user data");
    ASSERT_TRUE(defaults.setBool("onboardingComplete", true));
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(readFile(ownFile + ".corrupt"), first);
    EXPECT_EQ(readFile(ownFile + ".corrupt.1"), second);
    EXPECT_EQ(readFile(ownFile + ".corrupt.2/inside"), "user data");
    EXPECT_EQ(contentsOf(readFile(ownFile)), onboarded);
}

TEST_F(HelperDefaults, FailsWithoutThrowingAndLeavesWhatIsThere) {
    writeFile(config, "a file where the directory should be");
    testing::internal::CaptureStderr();
    EXPECT_FALSE(defaults.setBool("onboardingComplete", true));
    EXPECT_TRUE(saidOnce(testing::internal::GetCapturedStderr()));
    EXPECT_EQ(readFile(config), "a file where the directory should be");

    testing::internal::CaptureStderr();
    EXPECT_FALSE(PlistUserDefaults("", "").setBool("onboardingComplete", true));
    if (::geteuid() != 0) {  // root reads any file
        fs::remove(config);
        writeFile(ownFile, "<?xml");
        ASSERT_EQ(::chmod(ownFile.c_str(), 0), 0);
        EXPECT_FALSE(defaults.setBool("onboardingComplete", true));
        ::chmod(ownFile.c_str(), 0600);
        EXPECT_EQ(readFile(ownFile), "<?xml");
        EXPECT_EQ(entries(config + "/velko-helper"), std::vector<std::string>{"app.velko.helper.plist"});
    }
    testing::internal::GetCapturedStderr();
}

// --- Where the files are, from the environment -------------------------------------------------

// A relative XDG_CONFIG_HOME is invalid: the helper started from / or a project folder must not write there.
TEST(DefaultsLocation, OwnFileUnderAnAbsoluteXdgConfigHomeElseUnderHome) {
    TempDir home;
    ScopedEnv setHome("HOME", (home.path() + "/").c_str());
    for (const auto& [xdg, dir] :
         std::vector<std::pair<std::string, std::string>>{{"relative/config", ".config"}, {home / "xdg/", "xdg"}}) {
        ScopedEnv config("XDG_CONFIG_HOME", xdg.c_str());
        ASSERT_TRUE(PlistUserDefaults::fromEnvironment()->setBool("onboardingComplete", true));
        EXPECT_TRUE(fs::is_regular_file(home / (dir + "/velko-helper/app.velko.helper.plist"))) << xdg;
    }
    EXPECT_FALSE(fs::exists("relative"));
}

}  // namespace
}  // namespace velko::test
