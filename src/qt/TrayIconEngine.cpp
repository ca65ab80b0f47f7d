#include "qt/TrayIconEngine.h"

#include <QPainter>

#include "qt/BundledImages.h"

namespace velko {

TrayIconEngine::TrayIconEngine(std::string symbolName, QString themeName, QColor ink)
    : symbolName_(std::move(symbolName)), themeName_(std::move(themeName)), ink_(ink) {}

QPixmap TrayIconEngine::scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State, qreal scale) {
    QColor ink = ink_;
    if (mode == QIcon::Disabled) ink.setAlphaF(ink.alphaF() * 0.4);
    const int side = qMin(size.width(), size.height());
    return BundledImages::symbol(symbolName_, side, ink, scale > 0 ? scale : 1.0);
}

QPixmap TrayIconEngine::pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) {
    return scaledPixmap(size, mode, state, 1.0);
}

void TrayIconEngine::paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) {
    const qreal ratio = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;
    const QPixmap image = scaledPixmap(rect.size(), mode, state, ratio);
    if (image.isNull()) return;
    const QSizeF logical = image.deviceIndependentSize();
    painter->drawPixmap(
        QPointF(rect.x() + (rect.width() - logical.width()) / 2, rect.y() + (rect.height() - logical.height()) / 2),
        image);
}

// The sizes handed to hosts that take pixmaps (StatusNotifierItem's IconPixmap).
QList<QSize> TrayIconEngine::availableSizes(QIcon::Mode, QIcon::State) {
    return {{16, 16}, {22, 22}, {24, 24}, {32, 32}, {48, 48}, {64, 64}};
}

QString TrayIconEngine::iconName() { return QIcon::hasThemeIcon(themeName_) ? themeName_ : QString(); }

QString TrayIconEngine::key() const { return QStringLiteral("velko-tray"); }

QIconEngine* TrayIconEngine::clone() const { return new TrayIconEngine(*this); }

}  // namespace velko
