#pragma once
#include <memory>

#include "platform/BackendChoice.h"
#include "platform/TextRecognizer.h"

namespace velko {

// Picks the engine that reads the text of screenshots.
class TextRecognitionBackendFactory {
public:
    struct Choice {
        std::unique_ptr<TextRecognizer> recognizer;
        BackendChoice choice;
    };
    static Choice choose();
};

}  // namespace velko
