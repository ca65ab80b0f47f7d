#pragma once
#include <memory>
#include <string>
#include <vector>

#include "platform/BackendChoice.h"
#include "platform/TextRecognizer.h"
#include "session/DesktopSession.h"

namespace velko {

// Picks the engine that reads the text of screenshots, and the languages it reads in.
class TextRecognitionBackendFactory {
public:
    struct Choice {
        std::unique_ptr<TextRecognizer> recognizer;
        BackendChoice choice;
    };
    static Choice choose();

    // The XKB layouts of the desktop's keyboard settings: GNOME's input sources, Plasma's layout
    // list; none elsewhere.
    static std::vector<std::string> desktopLayouts(const DesktopSession::Environment& environment);
    // GNOME's input sources in order, as `gsettings get org.gnome.desktop.input-sources sources`
    // prints them: an XKB source as its layout ("de"), an IBus one as "ibus:mozc-jp".
    static std::vector<std::string> gnomeLayouts(const std::string& sources);
    // "Tesseract 5.3.0 (English, German)" and its note, for the languages the environment and
    // layouts ask for whose models are in the tessdata folder the environment names.
    static BackendChoice languagesChoice(const DesktopSession::Environment& environment,
                                         const std::vector<std::string>& layouts, std::string* languages);
};

}  // namespace velko
