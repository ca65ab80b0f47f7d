#include <gtest/gtest.h>
#include <plist/plist.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "plist/PlistFile.h"
#include "plist/PlistUserDefaults.h"
#include "posix/PosixFileSystem.h"

#include "fakes/TempDir.h"

namespace velko::test {
namespace {

namespace fs = std::filesystem;

const std::string suiteName = "group.app.velko";

class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value) : name_(name) {
        if (const char* old = std::getenv(name)) old_ = old;
        if (value)
            ::setenv(name, value, 1);
        else
            ::unsetenv(name);
    }
    ~ScopedEnv() {
        if (old_)
            ::setenv(name_, old_->c_str(), 1);
        else
            ::unsetenv(name_);
    }

private:
    const char* name_;
    std::optional<std::string> old_;
};

struct PlistDeleter {
    void operator()(plist_t node) const { plist_free(node); }
};
using Plist = std::unique_ptr<void, PlistDeleter>;

Bytes bytesOf(const std::string& text) { return Bytes(text.begin(), text.end()); }

void writeFile(const std::string& path, const std::string& contents) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream out(path, std::ios::binary);
    out << contents;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Encoded with libplist directly, so a fault in PlistFile cannot hide in both halves of a test.
std::string encode(plist_t root, bool binary) {
    char* out = nullptr;
    std::uint32_t length = 0;
    if (binary)
        plist_to_bin(root, &out, &length);
    else
        plist_to_xml(root, &out, &length);
    std::string text(out, length);
    if (binary)
        plist_to_bin_free(out);
    else
        plist_to_xml_free(out);
    return text;
}

Plist decode(const std::string& text) {
    plist_t root = nullptr;
    plist_from_memory(text.data(), static_cast<std::uint32_t>(text.size()), &root);
    return Plist(root);
}

void setData(plist_t dict, const char* key, const Bytes& value) {
    plist_dict_set_item(dict, key, plist_new_data(reinterpret_cast<const char*>(value.data()), value.size()));
}

std::optional<Bytes> dataIn(plist_t dict, const char* key) {
    const plist_t node = plist_dict_get_item(dict, key);
    if (plist_get_node_type(node) != PLIST_DATA) return std::nullopt;
    char* value = nullptr;
    std::uint64_t length = 0;
    plist_get_data_val(node, &value, &length);
    Bytes bytes(value, value + length);
    std::free(value);
    return bytes;
}

std::optional<bool> boolIn(plist_t dict, const char* key) {
    const plist_t node = plist_dict_get_item(dict, key);
    if (plist_get_node_type(node) != PLIST_BOOLEAN) return std::nullopt;
    std::uint8_t value = 0;
    plist_get_bool_val(node, &value);
    return value != 0;
}

std::vector<std::string> entries(const std::string& dir) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::size_t start = 0;
    while (start < text.size()) {
        const auto end = text.find('\n', start);
        result.push_back(text.substr(start, end - start));
        if (end == std::string::npos) break;
        start = end + 1;
    }
    return result;
}

void appendBigEndian(std::string& out, std::uint64_t value, int size) {
    for (int shift = (size - 1) * 8; shift >= 0; shift -= 8) out += static_cast<char>((value >> shift) & 0xFF);
}

// Binary {"a": object 0}, where each object of the chain is an array of `fan` references to the
// next one (or to itself) and the last one is true. libplist cannot write shared or cyclic objects.
std::string binaryChain(unsigned levels, unsigned fan, bool cyclic = false) {
    std::string body = "bplist00";
    std::vector<std::uint64_t> offsets;
    for (unsigned i = 0; i < levels; ++i) {
        offsets.push_back(body.size());
        body += static_cast<char>(0xA0 | fan);
        for (unsigned k = 0; k < fan; ++k) appendBigEndian(body, cyclic ? i : i + 1, 2);
    }
    offsets.push_back(body.size());
    body += '\x09';
    const auto key = offsets.size();
    offsets.push_back(body.size());
    body +=
        "\x51"
        "a";
    const auto dict = offsets.size();
    offsets.push_back(body.size());
    body += '\xD1';
    appendBigEndian(body, key, 2);
    appendBigEndian(body, 0, 2);
    const auto table = body.size();
    for (const auto offset : offsets) appendBigEndian(body, offset, 4);
    body += std::string(6, '\0') + '\x04' + '\x02';
    appendBigEndian(body, offsets.size(), 8);
    appendBigEndian(body, dict, 8);
    appendBigEndian(body, table, 8);
    return body;
}

std::string nestedXml(unsigned levels) {
    std::string text = "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>a</key>";
    for (unsigned i = 0; i < levels; ++i) text += "<array>";
    for (unsigned i = 0; i < levels; ++i) text += "</array>";
    return text + "<key>k</key><data>dg==</data></dict></plist>";
}

class DefaultsTest : public ::testing::Test {
protected:
    TempDir home;
    std::string config = home / "config";
    PlistUserDefaults defaults{home.path(), config};
    // Spelled out rather than taken from the code under test: it is where the main application looks.
    std::string suiteFile = home / "Library/Group Containers/group.app.velko/Library/Preferences/group.app.velko.plist";
    std::string ownFile = config + "/velko-helper/app.velko.helper.plist";

    std::optional<Bytes> readKey(const std::string& key) {
        const auto suite = defaults.openSuite(suiteName);
        if (!suite) throw std::runtime_error("suite refused");
        return suite->data(key);
    }
};

// --- The shared suite -------------------------------------------------------------------------

using SharedSuite = DefaultsTest;

TEST_F(SharedSuite, ReadsDataValuesFromXmlAndBinaryFiles) {
    const Bytes json = bytesOf(R"([{"abbreviation":";sig","expansion":"Best, Ana"}])");
    const Bytes binaryBytes{0x00, 0xff, 0x10, 0x80, 0x00};
    for (const bool binary : {false, true}) {
        SCOPED_TRACE(binary ? "binary" : "xml");
        Plist root(plist_new_dict());
        setData(root.get(), "helperSnippetTriggers", json);
        setData(root.get(), "raw", binaryBytes);
        setData(root.get(), "empty", {});
        plist_dict_set_item(root.get(), "aString", plist_new_string("[1,2]"));
        plist_dict_set_item(root.get(), "aBool", plist_new_bool(1));
        plist_dict_set_item(root.get(), "aNumber", plist_new_uint(7));
        writeFile(suiteFile, encode(root.get(), binary));

        const auto suite = defaults.openSuite(suiteName);
        ASSERT_TRUE(suite);
        EXPECT_EQ(suite->data("helperSnippetTriggers"), json);
        EXPECT_EQ(suite->data("raw"), binaryBytes);
        EXPECT_EQ(suite->data("empty"), Bytes{});
        EXPECT_EQ(suite->data("missing"), std::nullopt);
        // Values of other types are absent to the helper, not reinterpreted.
        EXPECT_EQ(suite->data("aString"), std::nullopt);
        EXPECT_EQ(suite->data("aBool"), std::nullopt);
        EXPECT_EQ(suite->data("aNumber"), std::nullopt);
        EXPECT_EQ(suite->data(std::string("raw\0x", 5)), std::nullopt);
    }
}

TEST_F(SharedSuite, MissingFileIsAnEmptySuiteAndQuiet) {
    testing::internal::CaptureStderr();
    const auto suite = defaults.openSuite(suiteName);
    ASSERT_TRUE(suite);
    EXPECT_EQ(suite->data("helperSnippetTriggers"), std::nullopt);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(SharedSuite, UnusableFilesReadAsEmptyAndSaySoOnce) {
    Plist array(plist_new_array());
    Plist root(plist_new_dict());
    setData(root.get(), "k", bytesOf("[]"));
    const std::string binary = encode(root.get(), true);

    const std::vector<std::pair<std::string, std::string>> contents{
        {"garbage", "this is not a property list at all"},
        {"empty file", ""},
        {"array root", encode(array.get(), false)},
        {"truncated xml", encode(root.get(), false).substr(0, 60)},
        {"truncated binary", binary.substr(0, binary.size() / 2)},
    };
    for (const auto& [name, text] : contents) {
        SCOPED_TRACE(name);
        writeFile(suiteFile, text);
        testing::internal::CaptureStderr();
        const auto suite = defaults.openSuite(suiteName);
        ASSERT_TRUE(suite);
        EXPECT_EQ(suite->data("k"), std::nullopt);
        EXPECT_EQ(suite->data("k"), std::nullopt);
        const auto output = lines(testing::internal::GetCapturedStderr());
        ASSERT_EQ(output.size(), 1u);
        EXPECT_EQ(output[0].rfind("velko-helper: ", 0), 0u) << output[0];
    }
}

TEST_F(SharedSuite, HostileStructuresAreRefusedBeforeLibplistSeesThem) {
    // Within the limits, the same shapes load, so the refusals below are about size alone.
    for (const auto& [name, text] :
         std::vector<std::pair<std::string, std::string>>{{"shallow xml", nestedXml(100)},
                                                          {"short chain", binaryChain(100, 1)},
                                                          {"small fan", binaryChain(10, 2)}}) {
        SCOPED_TRACE(name);
        PlistFile file;
        EXPECT_TRUE(file.parse(bytesOf(text)));
        EXPECT_EQ(file.size(), name == "shallow xml" ? 2u : 1u);
    }

    // Scaled up to a few hundred thousand levels, the first two overflow libplist 2.2's stack; the
    // third has it build 2^40 arrays; the fourth is simply not a tree.
    for (const auto& [name, text] :
         std::vector<std::pair<std::string, std::string>>{{"deep xml", nestedXml(100000)},
                                                          {"deep binary", binaryChain(1000, 1)},
                                                          {"shared binary", binaryChain(40, 2)},
                                                          {"cyclic binary", binaryChain(3, 1, true)}}) {
        SCOPED_TRACE(name);
        writeFile(suiteFile, text);
        testing::internal::CaptureStderr();
        EXPECT_EQ(readKey("k"), std::nullopt);
        const auto said = lines(testing::internal::GetCapturedStderr());
        ASSERT_EQ(said.size(), 1u);
        EXPECT_EQ(said[0].rfind("velko-helper: ", 0), 0u);
    }
}

TEST_F(SharedSuite, TenMegabyteValueLoadsInBothFormats) {
    Bytes big(10 * 1000 * 1000);
    for (std::size_t i = 0; i < big.size(); ++i) big[i] = static_cast<std::uint8_t>("[{\"a\":\"b\"},"[i % 11]);
    Plist root(plist_new_dict());
    setData(root.get(), "helperSnippetTriggers", big);
    plist_dict_set_item(root.get(), "other", plist_new_string("x"));
    for (const bool binary : {false, true}) {
        SCOPED_TRACE(binary ? "binary" : "xml");
        writeFile(suiteFile, encode(root.get(), binary));
        EXPECT_EQ(readKey("helperSnippetTriggers"), big);
    }
}

TEST_F(SharedSuite, OpenSuiteSeesLaterReplacementsOfTheFile) {
    const auto write = [&](const std::string& value) {
        Plist root(plist_new_dict());
        setData(root.get(), "k", bytesOf(value));
        // Replaced by rename, the way the main application saves.
        writeFile(suiteFile + ".new", encode(root.get(), false));
        fs::rename(suiteFile + ".new", suiteFile);
    };
    const auto suite = defaults.openSuite(suiteName);
    ASSERT_TRUE(suite);
    EXPECT_EQ(suite->data("k"), std::nullopt);

    write("first");
    EXPECT_EQ(suite->data("k"), bytesOf("first"));
    write("second");
    EXPECT_EQ(suite->data("k"), bytesOf("second"));

    testing::internal::CaptureStderr();
    writeFile(suiteFile, "garbage");
    EXPECT_EQ(suite->data("k"), std::nullopt);
    write("third");
    EXPECT_EQ(suite->data("k"), bytesOf("third"));
    ::unlink(suiteFile.c_str());
    EXPECT_EQ(suite->data("k"), std::nullopt);
    EXPECT_EQ(lines(testing::internal::GetCapturedStderr()).size(), 1u);
}

TEST_F(SharedSuite, RefusesNamesThatAreNotOneFileName) {
    for (const char* name : {"", ".", "..", "a/b", "/abs", "../group.app.velko", "trailing/"})
        EXPECT_FALSE(defaults.openSuite(name)) << '"' << name << '"';
    EXPECT_FALSE(defaults.openSuite(std::string("group\0x", 7)));
    EXPECT_TRUE(defaults.openSuite("..."));
    EXPECT_TRUE(defaults.openSuite(suiteName));
}

// --- The helper's own defaults ----------------------------------------------------------------

using HelperDefaults = DefaultsTest;

TEST_F(HelperDefaults, FirstWriteCreatesPrivateDirectoriesAndAnXmlFile) {
    ASSERT_FALSE(fs::exists(config));
    ASSERT_TRUE(defaults.setBool("onboardingComplete", true));

    const std::string text = readFile(ownFile);
    EXPECT_EQ(text.rfind("<?xml", 0), 0u);
    EXPECT_NE(text.find("<key>onboardingComplete</key>"), std::string::npos);
    EXPECT_NE(text.find("<true/>"), std::string::npos);
    const Plist root = decode(text);
    ASSERT_EQ(plist_get_node_type(root.get()), PLIST_DICT);
    EXPECT_EQ(boolIn(root.get(), "onboardingComplete"), true);

    struct stat st {};
    ASSERT_EQ(::stat(ownFile.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 077, 0u);
    ASSERT_EQ(::stat((config + "/velko-helper").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 077, 0u);
    EXPECT_EQ(entries(config + "/velko-helper"), std::vector<std::string>{"app.velko.helper.plist"});
}

TEST_F(HelperDefaults, KeepsEveryOtherKeyOfAnXmlOrBinaryFile) {
    for (const bool binary : {false, true}) {
        SCOPED_TRACE(binary ? "binary" : "xml");
        Plist root(plist_new_dict());
        setData(root.get(), "blob", Bytes{1, 2, 3, 0, 255});
        plist_dict_set_item(root.get(), "name", plist_new_string("kept"));
        plist_dict_set_item(root.get(), "otherFlag", plist_new_bool(1));
        plist_dict_set_item(root.get(), "onboardingComplete", plist_new_bool(1));
        Plist nested(plist_new_dict());
        plist_dict_set_item(nested.get(), "inner", plist_new_uint(42));
        plist_dict_set_item(root.get(), "nested", nested.release());
        writeFile(ownFile, encode(root.get(), binary));

        ASSERT_TRUE(defaults.setBool("onboardingComplete", false));
        ASSERT_TRUE(defaults.setBool("newFlag", true));

        const Plist after = decode(readFile(ownFile));
        ASSERT_EQ(plist_get_node_type(after.get()), PLIST_DICT);
        EXPECT_EQ(plist_dict_get_size(after.get()), 6u);
        EXPECT_EQ(dataIn(after.get(), "blob"), (Bytes{1, 2, 3, 0, 255}));
        EXPECT_EQ(boolIn(after.get(), "otherFlag"), true);
        EXPECT_EQ(boolIn(after.get(), "onboardingComplete"), false);
        EXPECT_EQ(boolIn(after.get(), "newFlag"), true);
        char* name = nullptr;
        plist_get_string_val(plist_dict_get_item(after.get(), "name"), &name);
        ASSERT_TRUE(name);
        EXPECT_STREQ(name, "kept");
        std::free(name);
        std::uint64_t inner = 0;
        plist_get_uint_val(plist_dict_get_item(plist_dict_get_item(after.get(), "nested"), "inner"), &inner);
        EXPECT_EQ(inner, 42u);
        EXPECT_EQ(entries(config + "/velko-helper"), std::vector<std::string>{"app.velko.helper.plist"});
    }
}

TEST_F(HelperDefaults, UnusableFileIsMovedAsideNeverOverwritten) {
    Plist array(plist_new_array());
    const std::string first = "not a plist \x01\x02";
    const std::string second = encode(array.get(), false);

    writeFile(ownFile, first);
    testing::internal::CaptureStderr();
    ASSERT_TRUE(defaults.setBool("onboardingComplete", true));
    const auto said = lines(testing::internal::GetCapturedStderr());
    ASSERT_EQ(said.size(), 1u);
    EXPECT_EQ(said[0].rfind("velko-helper: ", 0), 0u);
    EXPECT_NE(said[0].find(".corrupt"), std::string::npos);
    EXPECT_EQ(readFile(ownFile + ".corrupt"), first);
    EXPECT_EQ(boolIn(decode(readFile(ownFile)).get(), "onboardingComplete"), true);

    // A second bad file must not take the place of the first one's copy.
    writeFile(ownFile, second);
    testing::internal::CaptureStderr();
    ASSERT_TRUE(defaults.setBool("onboardingComplete", true));
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(readFile(ownFile + ".corrupt"), first);
    EXPECT_EQ(readFile(ownFile + ".corrupt.1"), second);
    EXPECT_EQ(boolIn(decode(readFile(ownFile)).get(), "onboardingComplete"), true);
}

TEST_F(HelperDefaults, DirectoryAtTheFilePathIsMovedAsideToo) {
    fs::create_directories(ownFile);
    writeFile(ownFile + "/inside", "user data");
    testing::internal::CaptureStderr();
    ASSERT_TRUE(defaults.setBool("onboardingComplete", true));
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(readFile(ownFile + ".corrupt/inside"), "user data");
    EXPECT_EQ(boolIn(decode(readFile(ownFile)).get(), "onboardingComplete"), true);
}

TEST_F(HelperDefaults, FailsWithoutThrowingWhenNothingCanBeWritten) {
    writeFile(config, "a file where the directory should be");
    testing::internal::CaptureStderr();
    EXPECT_FALSE(defaults.setBool("onboardingComplete", true));
    const auto said = lines(testing::internal::GetCapturedStderr());
    ASSERT_EQ(said.size(), 1u);
    EXPECT_EQ(said[0].rfind("velko-helper: ", 0), 0u);
    EXPECT_EQ(readFile(config), "a file where the directory should be");

    PlistUserDefaults homeless("", "");
    testing::internal::CaptureStderr();
    EXPECT_FALSE(homeless.setBool("onboardingComplete", true));
    testing::internal::GetCapturedStderr();
}

TEST_F(HelperDefaults, UnreadableFileIsLeftAlone) {
    if (::geteuid() == 0) GTEST_SKIP() << "root reads any file";
    writeFile(ownFile, "<?xml");
    ASSERT_EQ(::chmod(ownFile.c_str(), 0), 0);
    testing::internal::CaptureStderr();
    EXPECT_FALSE(defaults.setBool("onboardingComplete", true));
    testing::internal::GetCapturedStderr();
    ::chmod(ownFile.c_str(), 0600);
    EXPECT_EQ(readFile(ownFile), "<?xml");
    EXPECT_EQ(entries(config + "/velko-helper"), std::vector<std::string>{"app.velko.helper.plist"});
}

// --- Editing a property list in place, as the command-line client does --------------------------

TEST(PlistFileEditing, LoadStatusesTellMissingFromUnusable) {
    TempDir dir;
    PlistFile file;
    const auto none = file.load(dir / "none.plist");
    ASSERT_TRUE(none);
    EXPECT_FALSE(*none);
    writeFile(dir / "bad.plist", "{}");
    const auto bad = file.load(dir / "bad.plist");
    ASSERT_FALSE(bad);
    EXPECT_TRUE(PlistFile::isInvalid(bad.failure()));
    EXPECT_FALSE(bad.error().empty());
    EXPECT_EQ(file.size(), 0u);
    const auto folder = file.load(dir.path());
    ASSERT_FALSE(folder);
    EXPECT_TRUE(PlistFile::isInvalid(folder.failure()));
}

TEST(PlistFileEditing, SetDataThenSaveKeepsTheOtherKeysAndCanKeepTheFormat) {
    TempDir dir;
    const std::string path = dir / "suite.plist";
    Plist root(plist_new_dict());
    setData(root.get(), "helperSnippetTriggers", bytesOf("[]"));
    setData(root.get(), "autoPasteRules", bytesOf(R"([{"bundleId":"a","action":"lowercase"}])"));
    plist_dict_set_item(root.get(), "flag", plist_new_bool(0));
    writeFile(path, encode(root.get(), true));

    PlistFile file;
    ASSERT_TRUE(file.load(path).value());
    EXPECT_EQ(file.format(), PlistFile::Format::binary);
    EXPECT_EQ(file.boolValue("flag"), false);
    EXPECT_EQ(file.boolValue("autoPasteRules"), std::nullopt);
    const Bytes triggers = bytesOf(R"([{"abbreviation":";a","expansion":"b","format":"plain","appScope":[]}])");
    ASSERT_TRUE(file.setData("helperSnippetTriggers", triggers));
    ASSERT_TRUE(file.setData("flag", bytesOf("now data")));
    EXPECT_FALSE(file.setBool(std::string("a\0b", 3), true));
    const auto saved = file.save(path, file.format());
    ASSERT_TRUE(saved) << saved.error();

    const std::string text = readFile(path);
    EXPECT_EQ(text.rfind("bplist00", 0), 0u);
    const Plist after = decode(text);
    EXPECT_EQ(plist_dict_get_size(after.get()), 3u);
    EXPECT_EQ(dataIn(after.get(), "helperSnippetTriggers"), triggers);
    EXPECT_EQ(dataIn(after.get(), "autoPasteRules"), bytesOf(R"([{"bundleId":"a","action":"lowercase"}])"));
    EXPECT_EQ(dataIn(after.get(), "flag"), bytesOf("now data"));
    EXPECT_EQ(entries(dir.path()), std::vector<std::string>{"suite.plist"});
}

// --- Where the files are, from the environment -------------------------------------------------

TEST(DefaultsLocation, RelativeXdgConfigHomeIsIgnored) {
    TempDir home;
    ScopedEnv setHome("HOME", (home.path() + "/").c_str());
    ScopedEnv setXdg("XDG_CONFIG_HOME", "relative/config");
    ASSERT_TRUE(PlistUserDefaults::fromEnvironment()->setBool("onboardingComplete", true));
    EXPECT_TRUE(fs::is_regular_file(home / ".config/velko-helper/app.velko.helper.plist"));
    EXPECT_FALSE(fs::exists("relative"));
}

TEST(DefaultsLocation, AbsoluteXdgConfigHomeIsUsed) {
    TempDir home;
    ScopedEnv setHome("HOME", home.path().c_str());
    ScopedEnv setXdg("XDG_CONFIG_HOME", (home / "xdg/").c_str());
    ASSERT_TRUE(PlistUserDefaults::fromEnvironment()->setBool("onboardingComplete", true));
    EXPECT_TRUE(fs::is_regular_file(home / "xdg/velko-helper/app.velko.helper.plist"));
    EXPECT_FALSE(fs::exists(home / ".config"));
}

TEST(DefaultsLocation, SharedSuiteIsUnderHome) {
    TempDir home;
    ScopedEnv setHome("HOME", home.path().c_str());
    Plist root(plist_new_dict());
    setData(root.get(), "k", bytesOf("v"));
    writeFile(home / "Library/Group Containers/group.app.velko/Library/Preferences/group.app.velko.plist",
              encode(root.get(), false));
    const auto suite = PlistUserDefaults::fromEnvironment()->openSuite(suiteName);
    ASSERT_TRUE(suite);
    EXPECT_EQ(suite->data("k"), bytesOf("v"));
}

TEST(PosixFileSystemHome, ComesFromHomeOrElseThePasswordDatabase) {
    ScopedEnv slashed("HOME", "/some/home//");
    EXPECT_EQ(PosixFileSystem().homeDirectory(), "/some/home");

    const passwd* entry = ::getpwuid(::getuid());
    ASSERT_TRUE(entry);
    std::string expected = entry->pw_dir;
    while (expected.size() > 1 && expected.back() == '/') expected.pop_back();
    {
        ScopedEnv empty("HOME", "");
        EXPECT_EQ(PosixFileSystem().homeDirectory(), expected);
    }
    ScopedEnv unset("HOME", nullptr);
    EXPECT_EQ(PosixFileSystem().homeDirectory(), expected);
}

TEST(PosixFileSystemNodes, ExistsFollowsSymlinks) {
    TempDir dir;
    PosixFileSystem fileSystem;
    writeFile(dir / "file", "x");
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
    fs::create_symlink(dir / "file", dir / "link");
    fs::create_symlink(dir / "gone", dir / "dangling");

    EXPECT_TRUE(fileSystem.exists(dir / "file"));
    EXPECT_TRUE(fileSystem.exists(dir.path()));
    EXPECT_TRUE(fileSystem.exists(dir / "fifo"));
    EXPECT_TRUE(fileSystem.exists(dir / "link"));
    EXPECT_FALSE(fileSystem.exists(dir / "dangling"));
    EXPECT_FALSE(fileSystem.exists(dir / "gone"));
    EXPECT_FALSE(fileSystem.exists(""));

    EXPECT_TRUE(fileSystem.createDirectories(dir / "a/b"));
    EXPECT_TRUE(fs::is_directory(dir / "a/b"));
    EXPECT_FALSE(fileSystem.createDirectories(dir / "file/sub"));
}

}  // namespace
}  // namespace velko::test
