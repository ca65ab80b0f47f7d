#include <gtest/gtest.h>

#include "Core/AutoPasteRuleEngine.h"
#include "Core/SharedDataReader.h"
#include "fakes/FakePlatform.h"

namespace velko::test {
namespace {

const std::string storePath = "/home/ada/Library/Group Containers/group.app.velko/Velko.store";
const std::string sig = R"({"abbreviation":";sig","expansion":"Best, {username}","format":"plain","appScope":[]})";
const std::string addr = R"({"abbreviation":";addr","expansion":"1 Main St","format":"rtf","appScope":["a.b"]})";

struct SharedDataReaderTest : ::testing::Test {
    FakeFileSystem fs;
    FakeDefaults defaults;

    std::vector<std::string> loadedAbbreviations(const std::string& json, bool storePresent = true) {
        if (storePresent) fs.paths.insert(storePath);
        defaults.setJson("helperSnippetTriggers", json);
        SharedDataReader reader(fs, defaults);
        reader.initialize();
        std::vector<std::string> out;
        for (const auto& t : reader.snippetTriggers.get()) out.push_back(t.abbreviation);
        return out;
    }
};

using Abbreviations = std::vector<std::string>;

TEST_F(SharedDataReaderTest, LoadsValidTriggersInStoredOrderWithDuplicatesAndExtraKeys) {
    const std::string extra = R"({"abbreviation":";x","expansion":"","format":"","appScope":[],"color":"red"})";
    EXPECT_EQ(loadedAbbreviations("[" + addr + "," + sig + "," + extra + "," + sig + "]"),
              (Abbreviations{";addr", ";sig", ";x", ";sig"}));
}

TEST_F(SharedDataReaderTest, OneBadElementEmptiesTheWholeList) {
    const std::vector<std::string> bad = {
        R"({"abbreviation":";a","expansion":"b","format":"plain"})",                 // appScope missing
        R"({"abbreviation":";a","expansion":null,"format":"plain","appScope":[]})",  // null
        R"({"abbreviation":";a","expansion":"b","format":"plain","appScope":"x"})",  // wrong type
        R"({"abbreviation":";a","expansion":"b","format":"plain","appScope":[1]})",
        R"({"abbreviation":7,"expansion":"b","format":"plain","appScope":[]})",
        R"("just a string")",
    };
    for (const auto& element : bad)
        EXPECT_EQ(loadedAbbreviations("[" + sig + "," + addr + "," + element + "]"), Abbreviations{}) << element;
}

TEST_F(SharedDataReaderTest, NotAnArrayOrNotJsonGivesNothing) {
    EXPECT_EQ(loadedAbbreviations(sig), Abbreviations{});
    EXPECT_EQ(loadedAbbreviations("[" + sig), Abbreviations{});
    EXPECT_EQ(loadedAbbreviations("\xff\xfe garbage"), Abbreviations{});
    EXPECT_EQ(loadedAbbreviations(""), Abbreviations{});
}

TEST_F(SharedDataReaderTest, TriggersLoadOnlyWhenTheStoreIsThereAtLaunch) {
    EXPECT_EQ(loadedAbbreviations("[" + sig + "]", false), Abbreviations{});
}

TEST_F(SharedDataReaderTest, MissingKeyOrRefusedSuiteGivesNoTriggersButStillConnects) {
    fs.paths.insert(storePath);
    defaults.refuseSuite = true;
    SharedDataReader reader(fs, defaults);
    reader.initialize();
    EXPECT_TRUE(reader.isConnected);
    EXPECT_TRUE(reader.snippetTriggers.get().empty());
}

TEST_F(SharedDataReaderTest, ConnectionFollowsTheStoreButTriggersStayAsLoaded) {
    fs.directories.insert(storePath);  // a directory of that name counts
    defaults.setJson("helperSnippetTriggers", "[" + sig + "]");
    SharedDataReader reader(fs, defaults);
    int published = 0;
    reader.isConnected.subscribe([&](bool) { ++published; });
    reader.initialize();
    EXPECT_TRUE(reader.isConnected);

    fs.directories.clear();
    EXPECT_FALSE(reader.verifyConnection());
    EXPECT_FALSE(reader.verifyConnection());
    EXPECT_EQ(reader.snippetTriggers.get().size(), 1u);
    EXPECT_EQ(published, 3);  // told at every assignment, changed or not

    fs.paths.insert(storePath);
    EXPECT_TRUE(reader.verifyConnection());
}

TEST(SnippetTriggerDecoding, ErrorNamesTheElementAndTheReason) {
    std::vector<SharedDataReader::SnippetTrigger> out;
    std::string error;
    const std::string json = "[" + sig + R"(,{"abbreviation":";a","expansion":"b","format":"p"}])";
    EXPECT_FALSE(SharedDataReader::decodeTriggers(Bytes(json.begin(), json.end()), out, error));
    EXPECT_EQ(error, "element 1: missing \"appScope\"");
}

}  // namespace
}  // namespace velko::test
