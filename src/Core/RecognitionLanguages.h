#pragma once
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velko {

// The languages screenshots are read in: the person's, as their locale and keyboard layouts say,
// in Tesseract's language codes ("deu"), and English always. Each language read costs
// recognition time, so only a few are.
class RecognitionLanguages {
public:
    using Environment = std::function<const char*(const char*)>;
    using Installed = std::function<bool(const std::string& code)>;

    struct Choice {
        std::vector<std::string> used;
        std::vector<std::string> missing;  // wanted, within the cap, but without Tesseract data here
        // "eng+deu", as Tesseract takes them.
        std::string tesseract() const;
        // "German, English"
        std::string names() const;
        // What the person can do about the missing ones; empty without any.
        std::string note() const;
    };

    // English and two more: each language beside English costs about a sixth more CPU on a screen
    // of English text, so three stay under half as much again.
    static constexpr std::size_t maxLanguages = 3;

    // The code for a locale ("de_DE.UTF-8", "pt_BR", "zh_TW", "sr@latin"); nullopt for "C",
    // "POSIX" and a language not in the table.
    static std::optional<std::string> forLocale(std::string_view locale);
    // The code for an XKB layout ("de", "ua", "latam", "us") or an IBus input method
    // ("ibus:mozc-jp"); nullopt for one not in the table.
    static std::optional<std::string> forLayout(std::string_view layout);

    // The codes of LANGUAGE's list, then of the first of LC_ALL, LC_MESSAGES and LANG that is
    // set, then of the layouts; in that order, once each.
    static std::vector<std::string> wanted(const Environment& environment, const std::vector<std::string>& layouts);
    // English and as many of wanted as the cap leaves room for: those in the Latin alphabet first,
    // in their order, then English, then the others.
    static Choice choose(const std::vector<std::string>& wanted, const Installed& installed);

    // "German" for "deu"; the code itself for one not in the table.
    static std::string name(std::string_view code);
    // Debian's package of the code's model: "tesseract-ocr-chi-sim" for "chi_sim".
    static std::string package(std::string_view code);
};

}  // namespace velko
