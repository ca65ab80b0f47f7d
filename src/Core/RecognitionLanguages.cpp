#include "Core/RecognitionLanguages.h"

#include <algorithm>
#include <array>

namespace velko {
namespace {

struct Language {
    std::string_view locale;   // ISO 639-1, as locales name it
    std::string_view layouts;  // XKB layouts people who write it type with, space-separated
    std::string_view code;     // Tesseract's
    std::string_view name;
    bool latin = true;  // written in the Latin alphabet
};

// Locales and layouts whose language has a Tesseract model packaged by Debian. Chinese is in
// two scripts, told apart by the territory; Serbian's Latin script by the modifier.
constexpr std::array languages{
    Language{"en", "us gb au ca ie nz za in", "eng", "English"},
    Language{"de", "de at ch", "deu", "German"},
    Language{"fr", "fr be", "fra", "French"},
    Language{"ru", "ru", "rus", "Russian", false},
    Language{"uk", "ua", "ukr", "Ukrainian", false},
    Language{"be", "by", "bel", "Belarusian", false},
    Language{"es", "es latam", "spa", "Spanish"},
    Language{"pt", "pt br", "por", "Portuguese"},
    Language{"it", "it", "ita", "Italian"},
    Language{"pl", "pl", "pol", "Polish"},
    Language{"cs", "cz", "ces", "Czech"},
    Language{"sk", "sk", "slk", "Slovak"},
    Language{"nl", "nl", "nld", "Dutch"},
    Language{"sv", "se", "swe", "Swedish"},
    Language{"da", "dk", "dan", "Danish"},
    Language{"nb", "no", "nor", "Norwegian"},
    Language{"nn", "", "nor", "Norwegian"},
    Language{"fi", "fi", "fin", "Finnish"},
    Language{"hu", "hu", "hun", "Hungarian"},
    Language{"ro", "ro", "ron", "Romanian"},
    Language{"bg", "bg", "bul", "Bulgarian", false},
    Language{"sr", "rs", "srp", "Serbian", false},
    Language{"hr", "hr", "hrv", "Croatian"},
    Language{"sl", "si", "slv", "Slovenian"},
    Language{"el", "gr", "ell", "Greek", false},
    Language{"tr", "tr", "tur", "Turkish"},
    Language{"he", "il", "heb", "Hebrew", false},
    Language{"ar", "ara", "ara", "Arabic", false},
    Language{"ja", "jp", "jpn", "Japanese", false},
    Language{"ko", "kr", "kor", "Korean", false},
    Language{"th", "th", "tha", "Thai", false},
    Language{"vi", "vn", "vie", "Vietnamese"},
    Language{"zh", "cn", "chi_sim", "Chinese (simplified)", false},
    Language{"", "tw", "chi_tra", "Chinese (traditional)", false},
    Language{"", "", "srp_latn", "Serbian (Latin)"},
};

std::optional<std::string> codeWhere(auto matches) {
    const auto it = std::find_if(languages.begin(), languages.end(), matches);
    if (it == languages.end()) return std::nullopt;
    return std::string(it->code);
}

const Language* byCode(std::string_view code) {
    const auto it = std::find_if(languages.begin(), languages.end(), [&](const Language& l) { return l.code == code; });
    return it == languages.end() ? nullptr : &*it;
}

void addOnce(std::vector<std::string>& codes, std::optional<std::string> code) {
    if (code && std::find(codes.begin(), codes.end(), *code) == codes.end()) codes.push_back(std::move(*code));
}

std::string joined(const std::vector<std::string>& parts, std::string_view separator) {
    std::string out;
    for (const auto& part : parts) out += (out.empty() ? "" : std::string(separator)) + part;
    return out;
}

}  // namespace

std::optional<std::string> RecognitionLanguages::forLocale(std::string_view locale) {
    // language[_territory][.codeset][@modifier]
    const std::string_view language = locale.substr(0, locale.find_first_of("_.@"));
    const auto at = locale.find('@');
    const std::string_view modifier = at == std::string_view::npos ? "" : locale.substr(at + 1);
    const auto underscore = locale.find('_');
    const std::string_view territory = underscore == std::string_view::npos
                                           ? ""
                                           : locale.substr(underscore + 1, locale.find_first_of(".@") - underscore - 1);
    if (language.empty()) return std::nullopt;
    if (language == "zh" && (territory == "TW" || territory == "HK" || territory == "MO")) return "chi_tra";
    if (language == "sr" && modifier == "latin") return "srp_latn";
    return codeWhere([&](const Language& l) { return l.locale == language; });
}

std::optional<std::string> RecognitionLanguages::forLayout(std::string_view layout) {
    if (layout.empty()) return std::nullopt;
    // Input methods for scripts no keyboard layout has.
    if (layout.starts_with("ibus:")) {
        const std::string_view engine = layout.substr(5);
        for (const auto& [name, code] : {std::pair{"anthy", "jpn"},
                                         {"mozc-jp", "jpn"},
                                         {"kkc", "jpn"},
                                         {"libpinyin", "chi_sim"},
                                         {"pinyin", "chi_sim"},
                                         {"rime", "chi_sim"},
                                         {"chewing", "chi_tra"},
                                         {"cangjie", "chi_tra"},
                                         {"hangul", "kor"}})
            if (engine == name) return code;
        return std::nullopt;
    }
    return codeWhere([&](const Language& l) {
        for (std::string_view rest = l.layouts; !rest.empty();) {
            const auto space = rest.find(' ');
            if (rest.substr(0, space) == layout) return true;
            rest = space == std::string_view::npos ? "" : rest.substr(space + 1);
        }
        return false;
    });
}

std::vector<std::string> RecognitionLanguages::wanted(const Environment& environment,
                                                      const std::vector<std::string>& layouts) {
    std::vector<std::string> codes;
    if (const char* list = environment("LANGUAGE")) {
        for (std::string_view rest = list; !rest.empty();) {
            const auto colon = rest.find(':');
            addOnce(codes, forLocale(rest.substr(0, colon)));
            rest = colon == std::string_view::npos ? "" : rest.substr(colon + 1);
        }
    }
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* locale = environment(variable);
        if (locale && *locale) {
            addOnce(codes, forLocale(locale));
            break;
        }
    }
    for (const auto& layout : layouts) addOnce(codes, forLayout(layout));
    return codes;
}

RecognitionLanguages::Choice RecognitionLanguages::choose(const std::vector<std::string>& wanted,
                                                          const Installed& installed) {
    std::vector<std::string> capped;
    for (const auto& code : wanted)
        if (code != "eng" && capped.size() + 1 < maxLanguages &&
            std::find(capped.begin(), capped.end(), code) == capped.end())
            capped.push_back(code);
    // Tesseract keeps the first reading of a word that is good enough: English read first takes
    // "Ça" for "Ca", while a language of another script read first takes English words for
    // look-alikes of its own. So the Latin ones go before English, the others after it.
    const auto latin = [](const std::string& code) {
        const Language* language = byCode(code);
        return !language || language->latin;
    };
    std::stable_partition(capped.begin(), capped.end(), latin);
    capped.insert(std::find_if_not(capped.begin(), capped.end(), latin), std::string("eng"));
    // Without English's data nothing can be read at all; it is named like any other missing one.
    Choice choice;
    for (const auto& code : capped) (installed(code) ? choice.used : choice.missing).push_back(code);
    return choice;
}

std::string RecognitionLanguages::Choice::tesseract() const { return joined(used, "+"); }

std::string RecognitionLanguages::Choice::names() const {
    std::vector<std::string> out;
    for (const auto& code : used) out.push_back(name(code));
    return joined(out, ", ");
}

std::string RecognitionLanguages::Choice::note() const {
    std::vector<std::string> out;
    for (const auto& code : missing) out.push_back(name(code) + " (" + package(code) + ")");
    if (out.empty()) return {};
    return "Not read in " + joined(out, ", ") + ": install " + (missing.size() == 1 ? "the package" : "the packages") +
           ", then restart the helper.";
}

std::string RecognitionLanguages::name(std::string_view code) {
    const Language* language = byCode(code);
    return std::string(language ? language->name : code);
}

std::string RecognitionLanguages::package(std::string_view code) {
    std::string out = "tesseract-ocr-";
    for (const char c : code) out += c == '_' ? '-' : c;
    return out;
}

}  // namespace velko
