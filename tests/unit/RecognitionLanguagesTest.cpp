#include "Core/RecognitionLanguages.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

namespace velko::test {
namespace {

using Codes = std::vector<std::string>;

RecognitionLanguages::Environment environment(std::map<std::string, std::string> variables) {
    return [variables = std::move(variables)](const char* name) -> const char* {
        const auto it = variables.find(name);
        return it == variables.end() ? nullptr : it->second.c_str();
    };
}

TEST(RecognitionLanguages, LocalesAndLayoutsNameTesseractsCodes) {
    for (const auto& [locale, code] :
         std::map<std::string, std::optional<std::string>>{{"de_DE.UTF-8", "deu"},
                                                           {"fr", "fra"},
                                                           {"uk_UA.UTF-8", "ukr"},
                                                           {"pt_BR.UTF-8", "por"},
                                                           {"zh_CN.UTF-8", "chi_sim"},
                                                           {"zh_TW.UTF-8", "chi_tra"},
                                                           {"zh_HK", "chi_tra"},
                                                           {"sr_RS.UTF-8@latin", "srp_latn"},
                                                           {"nb_NO.UTF-8", "nor"},
                                                           {"en_GB.UTF-8", "eng"},
                                                           {"C.UTF-8", std::nullopt},
                                                           {"POSIX", std::nullopt},
                                                           {"", std::nullopt},
                                                           {"xx_YY", std::nullopt}})
        EXPECT_EQ(RecognitionLanguages::forLocale(locale), code) << locale;
    for (const auto& [layout, code] : std::map<std::string, std::optional<std::string>>{{"ru", "rus"},
                                                                                        {"ua", "ukr"},
                                                                                        {"de", "deu"},
                                                                                        {"ch", "deu"},
                                                                                        {"latam", "spa"},
                                                                                        {"cz", "ces"},
                                                                                        {"us", "eng"},
                                                                                        {"", std::nullopt},
                                                                                        {"u", std::nullopt}})
        EXPECT_EQ(RecognitionLanguages::forLayout(layout), code) << layout;
}

// LANGUAGE's list first, then only the first locale variable that is set; repeats left out.
TEST(RecognitionLanguages, WantedFollowsLanguageThenTheLocaleThenTheLayouts) {
    EXPECT_EQ(RecognitionLanguages::wanted(environment({{"LANGUAGE", "fr_CA:en:de::fr"},
                                                        {"LC_ALL", ""},
                                                        {"LC_MESSAGES", "pl_PL.UTF-8"},
                                                        {"LANG", "it_IT.UTF-8"}}),
                                           {"us", "ru", "de", "ua"}),
              (Codes{"fra", "eng", "deu", "pol", "rus", "ukr"}));
    EXPECT_EQ(RecognitionLanguages::wanted(environment({{"LANG", "C.UTF-8"}}), {}), Codes{});
    EXPECT_EQ(RecognitionLanguages::wanted(environment({}), {"ru"}), Codes{"rus"});
}

// English always, after the Latin alphabet's languages and before the others; what is not installed
// is named, not read, and counts towards the cap so that installing it never pushes out a language
// read today.
TEST(RecognitionLanguages, ChoiceKeepsEnglishCapsAndNamesTheMissingPackages) {
    const std::set<std::string> installed{"eng", "deu", "rus", "chi_sim"};
    const auto has = [&](const std::string& code) { return installed.count(code) > 0; };

    auto choice = RecognitionLanguages::choose({"deu", "rus", "chi_sim"}, has);
    EXPECT_EQ(choice.tesseract(), "deu+eng+rus");
    EXPECT_EQ(choice.names(), "German, English, Russian");
    EXPECT_EQ(choice.note(), "");
    EXPECT_EQ(RecognitionLanguages::choose({"eng", "rus", "deu", "eng"}, has).tesseract(), "deu+eng+rus");

    choice = RecognitionLanguages::choose({"chi_tra", "chi_sim", "deu"}, has);
    EXPECT_EQ(choice.tesseract(), "eng+chi_sim");
    EXPECT_EQ(choice.missing, Codes{"chi_tra"});
    EXPECT_EQ(choice.note(),
              "Not read in Chinese (traditional) (tesseract-ocr-chi-tra): install the package, then restart the "
              "helper.");

    choice = RecognitionLanguages::choose({"pol", "fra"}, [](const std::string&) { return false; });
    EXPECT_EQ(choice.tesseract(), "");
    EXPECT_EQ(choice.missing, (Codes{"pol", "fra", "eng"}));
    EXPECT_NE(choice.note().find("Polish (tesseract-ocr-pol), French (tesseract-ocr-fra), English "
                                 "(tesseract-ocr-eng): install the packages"),
              std::string::npos);
}

}  // namespace
}  // namespace velko::test
