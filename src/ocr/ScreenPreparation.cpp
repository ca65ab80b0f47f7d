#include "ocr/ScreenPreparation.h"

#include "layout/GreyLevels.h"

#include <algorithm>

namespace velko {
namespace {

// Rec. 709 luma: Leptonica's default weights lose part of the contrast of coloured UI text.
constexpr float redWeight = 0.2126f, greenWeight = 0.7152f, blueWeight = 0.0722f;
// Shares of the way from an image's darkest level to its lightest, so that a dim page or a strip
// of a dark bar is judged by its own contrast: darker than half way is a dark background.
constexpr double darkBelow = 0.5;
// Side of the cells in which the background is judged, and how many cells of dark background a
// dark region needs across and along: 24 by 40 px fits in a title bar 27 px high, not in the
// stems and joins of bold text up to about 150 pt.
constexpr int cellSize = 4;
constexpr int regionCells = 6, regionLength = 10;
// Light text on a dark region shows as holes in it; larger holes are light panels in a dark page.
constexpr int textHoleWidth = 200, textHoleHeight = 80;
// Thicker than the strokes of body text: what the flattening takes for background. Ink darker
// than keptInkBelow stays as it is, so that headings with thicker strokes do too; a level, not a
// share of the page's contrast, which would keep a photo's shadows.
constexpr int backgroundSize = 15;
constexpr int keptInkBelow = 96;
// A glyph's neighbourhood, the longest straight stroke of dim text, and the share of the page's
// deepest ink below which ink is texture.
constexpr int glyphSize = 9, lineLength = 19;
constexpr double faintInk = 0.2, dimInk = 0.5, flatShare = 0.02;
// Ruled lines: at least this long, at most this thick, with no ink this far away on either side;
// their ink is darker than ruleInkBelow of the way.
constexpr int ruleLength = 61, ruleThickness = 4, ruleClearance = 6;
constexpr double ruleInkBelow = 0.625;
// Ink for layout: clearly darker than the flattened white, so that a picture's faint texture is
// not. Not a share of the page's own contrast: a photo's darkest is its grain. Dim text is as
// dark as the rest by then.
constexpr int layoutInkBelow = 192;

PixPtr owned(Pix* pix) { return PixPtr(pix); }

GreyLevels levelsOf(Pix* grey) {
    GreyLevels::Histogram histogram{};
    NumaPtr counts(pixGetGrayHistogram(grey, 1));
    if (counts && numaGetCount(counts.get()) == 256)
        for (int level = 0; level < 256; ++level) {
            l_float32 count = 0;
            numaGetFValue(counts.get(), level, &count);
            histogram[static_cast<std::size_t>(level)] = static_cast<std::uint64_t>(count);
        }
    return GreyLevels(histogram);
}

l_int32 threshold(Pix* grey, double share) { return levelsOf(grey).level(share); }

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
// sidebar beside a light page and a light page with a dark bar both end up dark on light. An
// image too small for a region of its own (a bar or strip cut from a screen), or dark all over
// with text everywhere, is one region, turned light when most of it is dark.
void ScreenPreparation::turnDarkRegionsLight(Pix* grey) {
    const int width = pixGetWidth(grey), height = pixGetHeight(grey);
    const GreyLevels levels = levelsOf(grey);
    const auto wholeImage = [&] {
        if (levels.darkBackground()) pixInvert(grey, grey);
    };
    if (width < 2 * cellSize * regionCells || height < 2 * cellSize * regionCells) return wholeImage();
    const l_int32 darkBelowLevel = levels.level(darkBelow);
    // Each 2x2 step keeps the second lightest pixel: a cell is dark only where nearly all of it is,
    // which text strokes are not.
    PixPtr cells = owned(pixScaleGrayRankCascade(grey, 3, 3, 0, 0));
    if (!cells) return;
    PixPtr darkCells = owned(pixThresholdToBinary(cells.get(), darkBelowLevel));
    PixPtr regionCores = owned(pixOpenBrick(nullptr, darkCells.get(), regionLength, regionCells));
    PixPtr tallCores = owned(pixOpenBrick(nullptr, darkCells.get(), regionCells, regionLength));
    if (regionCores && tallCores) pixOr(regionCores.get(), regionCores.get(), tallCores.get());
    l_int32 none = 1;
    if (!regionCores || pixZero(regionCores.get(), &none) != 0 || none) return wholeImage();
    PixPtr seeds = owned(pixExpandBinaryReplicate(regionCores.get(), cellSize, cellSize));

    PixPtr dark = owned(pixThresholdToBinary(grey, darkBelowLevel));
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
// Ink fainter than the page's strongest (grey timestamps beside white text) is deepened to it,
// glyph by glyph, or the one threshold Tesseract picks for an area drops it.
PixPtr ScreenPreparation::flattened(Pix* grey) {
    PixPtr hat = owned(pixTophat(grey, backgroundSize, backgroundSize, L_TOPHAT_BLACK));
    if (!hat) return nullptr;
    deepenFaintInk(hat.get());
    pixInvert(hat.get(), hat.get());
    PixPtr ink = owned(pixThresholdToBinary(grey, keptInkBelow));
    if (ink) pixCombineMasked(hat.get(), grey, ink.get());
    return hat;
}

// Each pixel's depth is scaled by the deepest ink around it, up to the page's own: a glyph in
// dim ink (under dimInk of the page's deepest) ends up as deep as one in full ink. Grey labels
// deeper than that are read as they are; made bolder, they change the layout. Texture shallower
// than faintInk is no glyph and stays as it is; so does all of a page whose background is grainy.
void ScreenPreparation::deepenFaintInk(Pix* depth) {
    PixPtr deepest = owned(pixDilateGray(depth, glyphSize, glyphSize));
    if (!deepest) return;
    const GreyLevels levels = levelsOf(depth);
    const int full = levels.lightest(), faint = levels.level(faintInk), dim = levels.level(dimInk);
    // A page that is not flat around its ink (a photo's grain) has no faint glyphs to tell apart.
    if (full <= faint || levels.background() > levels.level(flatShare)) return;
    // Lines longer than a glyph's strokes (a button's outline, a cell's border) are no glyphs:
    // deepened, they are read as brackets and bars.
    PixPtr ink = owned(pixThresholdToBinary(depth, faint / 2 + 1));
    if (!ink) return;
    pixInvert(ink.get(), ink.get());
    PixPtr lines = owned(pixOpenBrick(nullptr, ink.get(), lineLength, 1));
    PixPtr tall = owned(pixOpenBrick(nullptr, ink.get(), 1, lineLength));
    if (!lines || !tall) return;
    pixOr(lines.get(), lines.get(), tall.get());
    pixDilateBrick(lines.get(), lines.get(), 3, 3);
    const int width = pixGetWidth(depth), height = pixGetHeight(depth);
    const l_int32 wpl = pixGetWpl(depth), deepestWpl = pixGetWpl(deepest.get()), linesWpl = pixGetWpl(lines.get());
    l_uint32* rows = pixGetData(depth);
    const l_uint32* deepestRows = pixGetData(deepest.get());
    const l_uint32* lineRows = pixGetData(lines.get());
    for (int y = 0; y < height; ++y) {
        l_uint32* row = rows + y * wpl;
        const l_uint32* around = deepestRows + y * deepestWpl;
        const l_uint32* line = lineRows + y * linesWpl;
        for (int x = 0; x < width; ++x) {
            const int local = GET_DATA_BYTE(around, x);
            if (local <= faint || local > dim || GET_DATA_BIT(line, x)) continue;
            SET_DATA_BYTE(row, x, std::min(255, GET_DATA_BYTE(row, x) * full / local));
        }
    }
}

// Long thin lines, horizontal and vertical, are painted white with a pixel to spare on each side.
void ScreenPreparation::removeRules(Pix* grey) {
    PixPtr ink = owned(pixThresholdToBinary(grey, threshold(grey, ruleInkBelow)));
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
