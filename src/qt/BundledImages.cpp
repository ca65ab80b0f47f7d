#include "qt/BundledImages.h"

#include <QFile>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>

static void registerCompiledResources() { Q_INIT_RESOURCE(resources); }

namespace velko {

namespace {
QString pathOf(const std::string& name) {
    // The library is static and nothing names the resources, so the linker would drop them.
    static const bool registered = (registerCompiledResources(), true);
    (void)registered;
    return QStringLiteral(":/velko/icons/%1.svg").arg(QString::fromStdString(name));
}

// Renders proportionally into a transparent square image of side × ratio device pixels.
QImage render(const std::string& name, int side, qreal ratio) {
    QSvgRenderer renderer(pathOf(name));
    if (!renderer.isValid() || side <= 0) return {};
    const int pixels = qRound(side * ratio);
    QImage image(pixels, pixels, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QSizeF size = renderer.defaultSize();
    if (size.isEmpty()) size = QSizeF(1, 1);
    size.scale(pixels, pixels, Qt::KeepAspectRatio);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    renderer.render(&painter,
                    QRectF((pixels - size.width()) / 2, (pixels - size.height()) / 2, size.width(), size.height()));
    painter.end();
    return image;
}
}  // namespace

bool BundledImages::has(const std::string& name) { return QFile::exists(pathOf(name)); }

QPixmap BundledImages::symbol(const std::string& name, int side, const QColor& tint, qreal devicePixelRatio) {
    QImage image = render(name, side, devicePixelRatio);
    if (image.isNull()) return {};
    // Ink is how dark and how opaque a pixel is, so white shapes over black ones make holes that
    // stay antialiased; the tint's own alpha fades the whole symbol.
    for (int y = 0; y < image.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const QRgb p = line[x];
            const int ink = qAlpha(p) * (255 - qGray(p)) / 255;
            line[x] = qRgba(tint.red(), tint.green(), tint.blue(), ink * tint.alpha() / 255);
        }
    }
    QPixmap pixmap = QPixmap::fromImage(image);
    pixmap.setDevicePixelRatio(devicePixelRatio);
    return pixmap;
}

QPixmap BundledImages::image(const std::string& name, int side, qreal devicePixelRatio) {
    QImage image = render(name, side, devicePixelRatio);
    if (image.isNull()) return {};
    QPixmap pixmap = QPixmap::fromImage(image);
    pixmap.setDevicePixelRatio(devicePixelRatio);
    return pixmap;
}

QColor BundledImages::color(NamedColor color) {
    const Rgba c = NamedColors::rgba(color);
    return QColor(c.red, c.green, c.blue, c.alpha);
}

}  // namespace velko
