#include "ocr/ScreenPreparation.h"

namespace velko {
namespace {

// Rec. 709 luma: Leptonica's default weights lose part of the contrast of coloured UI text.
constexpr float redWeight = 0.2126f, greenWeight = 0.7152f, blueWeight = 0.0722f;
// Darker than this is a dark background, or ink once the background is white.
constexpr int darkBelow = 128;
// Side of the cells in which the background is judged, and how many cells of dark background a
// dark region needs across and along: 24 by 40 px fits in a title bar 27 px high, not in the
// stems and joins of bold text up to about 150 pt.
constexpr int cellSize = 4;
constexpr int regionCells = 6, regionLength = 10;
// Light text on a dark region shows as holes in it; larger holes are light panels in a dark page.
constexpr int textHoleWidth = 200, textHoleHeight = 80;
// Thicker than the strokes of body text: what the flattening takes for background. Ink darker
// than keptInkBelow stays as it is, so that headings with thicker strokes do too.
constexpr int backgroundSize = 15;
constexpr int keptInkBelow = 96;
// Ruled lines: at least this long, at most this thick, with no ink this far away on either side.
constexpr int ruleLength = 61, ruleThickness = 4, ruleClearance = 6;
constexpr int ruleInkBelow = 160;
// Ink for layout: clearly darker than the flattened white, so that a picture's faint texture is not.
constexpr int layoutInkBelow = 192;

PixPtr owned(Pix* pix) { return PixPtr(pix); }

}  // namespace

PixPtr ScreenPreparation::prepare(Pix* screenshot) {
    PixPtr image = grey(screenshot);
    if (!image) return nullptr;
    turnDarkRegionsLight(image.get());
    image = flattened(image.get());
    if (!image) return nullptr;
    removeRules(image.get());
    return image;
}

PixPtr ScreenPreparation::ink(Pix* prepared) { return owned(pixThresholdToBinary(prepared, layoutInkBelow)); }

PixPtr ScreenPreparation::area(Pix* prepared, PixelRect rect, float scale) {
    BoxPtr box(boxCreate(rect.left, rect.top, rect.width(), rect.height()));
    PixPtr part = owned(pixClipRectangle(prepared, box.get(), nullptr));
    if (!part || scale == 1.0f) return part;
    return owned(pixScale(part.get(), scale, scale));
}

PixPtr ScreenPreparation::grey(Pix* screenshot) {
    // A transparent part of a capture (a window's shadow) is seen over white.
    PixPtr opaque;
    l_int32 alreadyOpaque = 0;
    if (pixGetDepth(screenshot) == 32 && pixGetSpp(screenshot) == 4 &&
        (pixAlphaIsOpaque(screenshot, &alreadyOpaque) != 0 || !alreadyOpaque))
        opaque = owned(pixAlphaBlendUniform(screenshot, 0xffffff00));
    Pix* colour = opaque ? opaque.get() : screenshot;
    if (pixGetDepth(colour) == 32) return owned(pixConvertRGBToGray(colour, redWeight, greenWeight, blueWeight));
    return owned(pixConvertTo8(colour, 0));
}

// A dark region is a connected dark area with the light text inside it, found from cells whose
// background is dark. Its pixels are inverted; the rest of the page stays as it is, so a dark
// sidebar beside a light page and a light page with a dark bar both end up dark on light.
void ScreenPreparation::turnDarkRegionsLight(Pix* grey) {
    const int width = pixGetWidth(grey), height = pixGetHeight(grey);
    if (width < 2 * cellSize * regionCells || height < 2 * cellSize * regionCells) return;
    // Each 2x2 step keeps the second lightest pixel: a cell is dark only where nearly all of it is,
    // which text strokes are not.
    PixPtr cells = owned(pixScaleGrayRankCascade(grey, 3, 3, 0, 0));
    if (!cells) return;
    PixPtr darkCells = owned(pixThresholdToBinary(cells.get(), darkBelow));
    PixPtr regionCores = owned(pixOpenBrick(nullptr, darkCells.get(), regionLength, regionCells));
    PixPtr tallCores = owned(pixOpenBrick(nullptr, darkCells.get(), regionCells, regionLength));
    if (regionCores && tallCores) pixOr(regionCores.get(), regionCores.get(), tallCores.get());
    l_int32 none = 1;
    if (!regionCores || pixZero(regionCores.get(), &none) != 0 || none) return;
    PixPtr seeds = owned(pixExpandBinaryReplicate(regionCores.get(), cellSize, cellSize));

    PixPtr dark = owned(pixThresholdToBinary(grey, darkBelow));
    PixPtr holes = owned(pixHolesByFilling(dark.get(), 4));
    PixPtr textHoles = owned(
        pixSelectBySize(holes.get(), textHoleWidth, textHoleHeight, 8, L_SELECT_IF_BOTH, L_SELECT_IF_LTE, nullptr));
    PixPtr filled = owned(pixOr(nullptr, dark.get(), textHoles.get()));
    if (!seeds || !filled) return;
    PixPtr seed = owned(pixCreateTemplate(filled.get()));
    pixRasterop(seed.get(), 0, 0, width, height, PIX_SRC, seeds.get(), 0, 0);
    pixAnd(seed.get(), seed.get(), filled.get());
    PixPtr regions = owned(pixSeedfillBinary(nullptr, seed.get(), filled.get(), 8));
    PixPtr inverted = owned(pixInvert(nullptr, grey));
    if (regions && inverted) pixCombineMasked(grey, inverted.get(), regions.get());
}

// White where the page is flat, whatever its shade: a black top-hat keeps only what is darker
// than its surroundings and thinner than a stroke of body text, so region backgrounds, icons and
// photos drop out and Tesseract's global threshold fits every part of the page. Dark ink stays.
PixPtr ScreenPreparation::flattened(Pix* grey) {
    PixPtr hat = owned(pixTophat(grey, backgroundSize, backgroundSize, L_TOPHAT_BLACK));
    if (!hat) return nullptr;
    pixInvert(hat.get(), hat.get());
    PixPtr ink = owned(pixThresholdToBinary(grey, keptInkBelow));
    if (ink) pixCombineMasked(hat.get(), grey, ink.get());
    return hat;
}

// Long thin lines, horizontal and vertical, are painted white with a pixel to spare on each side.
void ScreenPreparation::removeRules(Pix* grey) {
    PixPtr ink = owned(pixThresholdToBinary(grey, ruleInkBelow));
    if (!ink) return;
    PixPtr rules = owned(pixCreateTemplate(ink.get()));
    for (const bool horizontal : {true, false}) {
        PixPtr lines = owned(horizontal ? pixOpenBrick(nullptr, ink.get(), ruleLength, 1)
                                        : pixOpenBrick(nullptr, ink.get(), 1, ruleLength));
        PixPtr thick = owned(horizontal ? pixOpenBrick(nullptr, lines.get(), 1, ruleThickness + 1)
                                        : pixOpenBrick(nullptr, lines.get(), ruleThickness + 1, 1));
        if (!lines || !thick) return;
        pixSubtract(lines.get(), lines.get(), thick.get());
        // A rule has no ink just beside it on either side; the edge of a thick stroke does.
        for (const int side : {-ruleClearance, ruleClearance}) {
            PixPtr beside = owned(horizontal ? pixTranslate(nullptr, ink.get(), 0, side, L_BRING_IN_WHITE)
                                             : pixTranslate(nullptr, ink.get(), side, 0, L_BRING_IN_WHITE));
            if (beside) pixSubtract(lines.get(), lines.get(), beside.get());
        }
        pixOr(rules.get(), rules.get(), lines.get());
    }
    PixPtr covered = owned(pixDilateBrick(nullptr, rules.get(), 3, 3));
    if (covered) pixSetMasked(grey, covered.get(), 255);
}

}  // namespace velko
