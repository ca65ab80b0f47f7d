#include "Core/SharedDataReader.h"

#include <gtest/gtest.h>

#include "fakes/FakePlatform.h"

namespace velko::test {
namespace {

const std::string storePath = "/home/ada/Library/Group Containers/group.app.velko/Velko.store";
const std::string sig = R"({"abbreviation":";sig","expansion":"Best, {username}","format":"plain","appScope":[]})";
const std::string addr = R"({"abbreviation":";addr","expansion":"1 Main St","format":"rtf","appScope":["a.b"]})";
using Abbreviations = std::vector<std::string>;

struct SharedDataReaderTest : ::testing::Test {
    FakeFileSystem fs;
    FakeDefaults defaults;

    Abbreviations loadedAbbreviations(const std::string& json, bool storePresent = true) {
        fs.paths = storePresent ? std::set<std::string>{storePath} : std::set<std::string>{};
        defaults.setJson("helperSnippetTriggers", json);
        SharedDataReader reader(fs, defaults);
        reader.initialize();
        Abbreviations out;
        for (const auto& t : reader.snippetTriggers.get()) out.push_back(t.abbreviation);
        return out;
    }
};

TEST_F(SharedDataReaderTest, LoadsValidTriggersInStoredOrderWithDuplicatesAndExtraKeys) {
    const std::string extra = R"({"abbreviation":";x","expansion":"","format":"","appScope":[],"color":"red"})";
    EXPECT_EQ(loadedAbbreviations("[" + addr + "," + sig + "," + extra + "," + sig + "]"),
              (Abbreviations{";addr", ";sig", ";x", ";sig"}));
    EXPECT_EQ(loadedAbbreviations("[" + sig + "]", false), Abbreviations{}) << "loaded only with the store there";
}

TEST_F(SharedDataReaderTest, OneBadElementOrAnythingButAJsonArrayGivesNothing) {
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
    for (const auto& json : {sig, "[" + sig, std::string("\xff\xfe garbage"), std::string()})
        EXPECT_EQ(loadedAbbreviations(json), Abbreviations{}) << json;
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

TEST_F(SharedDataReaderTest, RefusedSuiteGivesNoTriggersButStillConnects) {
    fs.paths.insert(storePath);
    defaults.refuseSuite = true;
    SharedDataReader reader(fs, defaults);
    reader.initialize();
    EXPECT_TRUE(reader.isConnected);
    EXPECT_TRUE(reader.snippetTriggers.get().empty());
}

}  // namespace
}  // namespace velko::test
