#pragma once
#include "layout/ReadingOrder.h"
#include "ocr/LeptonicaPix.h"

namespace velko {

// Turns a screenshot into what Tesseract reads best, with Leptonica: a screen is not a scanned
// page, and light text on dark panels, coloured bars and cell borders cost it words and order.
class ScreenPreparation {
public:
    // The screenshot as 8-bit grey with dark text on white everywhere: dark panels, bars, bubbles
    // and whole dark pages are turned light where they are (not the whole image), backgrounds are
    // flattened to white so that pictures fade out, and ruled lines and cell borders are gone.
    // nullptr when Leptonica cannot convert the image.
    static PixPtr prepare(Pix* screenshot);
    // The ink of a prepared image, 1 bit per pixel, for layout; nullptr on failure.
    static PixPtr ink(Pix* prepared);
    // The part of a prepared image inside rect, enlarged by scale; nullptr when rect is outside.
    static PixPtr area(Pix* prepared, PixelRect rect, float scale);

private:
    static PixPtr grey(Pix* screenshot);
    static void turnDarkRegionsLight(Pix* grey);
    static PixPtr flattened(Pix* grey);
    static void deepenFaintInk(Pix* depth);
    static void removeRules(Pix* grey);
};

}  // namespace velko
