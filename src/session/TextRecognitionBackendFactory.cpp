#include "session/TextRecognitionBackendFactory.h"
#include "platform/Log.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <cstdlib>
#include <regex>

#include "Core/RecognitionLanguages.h"
#include "evdev/SessionKeymap.h"
#include "ocrworker/TessdataFolder.h"
#include "ocrworker/TextRecognitionProcess.h"

namespace velko {
namespace {

std::vector<std::string> split(const std::string& list) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (std::size_t comma; (comma = list.find(',', start)) != std::string::npos; start = comma + 1)
        parts.push_back(list.substr(start, comma - start));
    parts.push_back(list.substr(start));
    return parts;
}

}  // namespace

std::vector<std::string> TextRecognitionBackendFactory::gnomeLayouts(const std::string& sources) {
    static const std::regex source(R"(\(\s*'(xkb|ibus)'\s*,\s*'([^']*)'\s*\))");
    std::vector<std::string> layouts;
    for (auto it = std::sregex_iterator(sources.begin(), sources.end(), source); it != std::sregex_iterator(); ++it) {
        const std::string id = (*it)[2];
        layouts.push_back((*it)[1] == "ibus" ? "ibus:" + id : id.substr(0, id.find('+')));
    }
    return layouts;
}

std::vector<std::string> TextRecognitionBackendFactory::desktopLayouts(const DesktopSession::Environment& environment) {
    if (DesktopSession::runs("GNOME", environment)) {
        const auto sources = SessionKeymap::gnomeSources();
        return sources ? gnomeLayouts(*sources) : std::vector<std::string>{};
    }
    if (DesktopSession::runs("KDE", environment)) {
        const auto settings = SessionKeymap::plasmaSettings();
        if (const auto names = settings ? SessionKeymap::fromPlasmaSettings(*settings) : std::nullopt)
            return split(names->layout);
    }
    return {};
}

BackendChoice TextRecognitionBackendFactory::languagesChoice(const DesktopSession::Environment& environment,
                                                             const std::vector<std::string>& layouts,
                                                             std::string* languages) {
    const TessdataFolder tessdata(environment);
    const auto choice = RecognitionLanguages::choose(RecognitionLanguages::wanted(environment, layouts),
                                                     [&](const std::string& code) { return tessdata.has(code); });
    *languages = choice.tesseract();
    const std::string engine = "Tesseract " VELKO_TESSERACT_VERSION;
    std::string reason = "in velko-ocr, started for the first screenshot; models in " + tessdata.path();
    if (choice.used.empty())
        return {"Text recognition", "off", "no English model in " + tessdata.path(), choice.note()};
    for (const auto& code : choice.missing) reason += "; no " + code + ".traineddata";
    return {"Text recognition", engine + " (" + choice.names() + ")", reason, choice.note()};
}

TextRecognitionBackendFactory::Choice TextRecognitionBackendFactory::choose() {
    using namespace std::chrono_literals;
    // Installed under the prefix's lib/velko-helper; beside the helper in the build tree.
    const QString dir = QCoreApplication::applicationDirPath();
    const QString installed = dir + "/../lib/velko-helper/velko-ocr", built = dir + "/velko-ocr";
    const QFileInfo program(QFileInfo(installed).isExecutable() || !QFileInfo(built).isExecutable() ? installed
                                                                                                    : built);
    const DesktopSession::Environment environment = [](const char* name) { return std::getenv(name); };
    std::string languages;
    BackendChoice choice = languagesChoice(environment, desktopLayouts(environment), &languages);
    if (!choice.note.empty()) log::warning("%s", choice.note.c_str());
    // Ten seconds keeps a series of screenshots on one engine; two minutes without an answer is a
    // recognition that hangs, not a slow one. Two GiB of address space holds four 8K screens
    // read at once (each about 250 MB) beside the engines; no image can take the machine.
    constexpr std::uint64_t memoryLimit = 2ull << 30;
    auto recognizer = std::make_unique<TextRecognitionProcess>(program.absoluteFilePath().toStdString(), languages, 10s,
                                                               120s, memoryLimit);
    if (!program.isExecutable())
        return {std::move(recognizer),
                {"Text recognition", "off",
                 program.absoluteFilePath().toStdString() + " is missing; no screenshot gets text"}};
    return {std::move(recognizer), std::move(choice)};
}

}  // namespace velko
