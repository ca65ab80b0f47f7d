#pragma once
#include <QColor>
#include <QPixmap>
#include <string>

#include "Views/NamedColors.h"

namespace velko {

// The SVG images compiled into the helper: symbols (drawn as ink in one colour) and full-colour
// images such as the application icon. Drawn at the asked size, never scaled from a bitmap.
class BundledImages {
public:
    static bool has(const std::string& name);
    // The symbol's dark parts in `tint`, its light parts cut out, centred in a square of `side`
    // logical pixels at the given device pixel ratio; null when there is no such symbol.
    static QPixmap symbol(const std::string& name, int side, const QColor& tint, qreal devicePixelRatio);
    // The image in its own colours, scaled proportionally into the square; null when there is none.
    static QPixmap image(const std::string& name, int side, qreal devicePixelRatio);
    static QColor color(NamedColor color);
};

}  // namespace velko
