#include "session/TextRecognitionBackendFactory.h"

#include "ocr/TesseractRecognizer.h"

namespace velko {

TextRecognitionBackendFactory::Choice TextRecognitionBackendFactory::choose() {
    // Engines load on first use, so a helper that never sees a screenshot never pays for one.
    return {std::make_unique<TesseractRecognizer>(), {"Text recognition", "Tesseract (LSTM, English)", "built in"}};
}

}  // namespace velko
