#include "session/TextRecognitionBackendFactory.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>

#include "fakes/TempDir.h"

namespace velko::test {
namespace {

DesktopSession::Environment environment(std::map<std::string, std::string> variables) {
    return [variables = std::move(variables)](const char* name) -> const char* {
        const auto it = variables.find(name);
        return it == variables.end() ? nullptr : it->second.c_str();
    };
}

// Only the models in the folder Tesseract reads are used; the rest are named with their package.
TEST(TextRecognitionBackendFactory, ReadsTheLanguagesWhoseModelsAreInTesseractsFolder) {
    TempDir tessdata;
    for (const char* model : {"eng", "deu"}) std::ofstream(tessdata / (std::string(model) + ".traineddata")) << "x";
    std::filesystem::create_directory(tessdata / "fra.traineddata.d");
    std::string languages;
    const BackendChoice choice = TextRecognitionBackendFactory::languagesChoice(
        environment({{"TESSDATA_PREFIX", tessdata.path() + "/"}, {"LANGUAGE", "fr"}, {"LANG", "de_DE.UTF-8"}}), {"us"},
        &languages);
    EXPECT_EQ(languages, "deu+eng");
    EXPECT_EQ(choice.line(), "Text recognition: Tesseract " VELKO_TESSERACT_VERSION " (German, English)");
    EXPECT_NE(choice.note.find("French (tesseract-ocr-fra)"), std::string::npos) << choice.note;
    EXPECT_NE(choice.reason.find(tessdata.path()), std::string::npos) << choice.reason;

    // A TESSDATA_PREFIX that names nothing is passed over, as Tesseract passes it over.
    const BackendChoice fallback = TextRecognitionBackendFactory::languagesChoice(
        environment({{"TESSDATA_PREFIX", tessdata / "missing"}, {"LANG", "C.UTF-8"}}), {}, &languages);
    EXPECT_EQ(languages, "eng");
    EXPECT_NE(fallback.reason.find("/usr/share/tesseract-ocr/5/tessdata"), std::string::npos) << fallback.reason;

    std::filesystem::remove(tessdata / "eng.traineddata");
    const BackendChoice none = TextRecognitionBackendFactory::languagesChoice(
        environment({{"TESSDATA_PREFIX", tessdata.path()}}), {}, &languages);
    EXPECT_EQ(none.line(), "Text recognition: off");
    EXPECT_NE(none.note.find("English (tesseract-ocr-eng)"), std::string::npos) << none.note;
}

TEST(TextRecognitionBackendFactory, GnomesInputSourcesGiveTheirLayoutsAndInputMethodsInOrder) {
    EXPECT_EQ(TextRecognitionBackendFactory::gnomeLayouts(
                  "[('xkb', 'us+dvorak'), ('ibus', 'mozc-jp'), ('xkb', 'ua'), ('ibus', 'm17n:ru:kbd')]"),
              (std::vector<std::string>{"us", "ibus:mozc-jp", "ua", "ibus:m17n:ru:kbd"}));
    EXPECT_TRUE(TextRecognitionBackendFactory::gnomeLayouts("@a(ss) []").empty());
}

}  // namespace
}  // namespace velko::test
