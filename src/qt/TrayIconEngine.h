#pragma once
#include <QColor>
#include <QIconEngine>
#include <string>

namespace velko {

// The tray icon as a bundled symbol drawn at exactly the size each tray asks for, so it is sharp
// in a 16-pixel XEmbed slot and a 48-pixel panel alike. Where the icon theme has the installed
// symbolic icon it also gives that name, which lets StatusNotifierItem hosts recolour it to
// match the panel.
class TrayIconEngine : public QIconEngine {
public:
    TrayIconEngine(std::string symbolName, QString themeName, QColor ink);

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override;
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override;
    QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State state, qreal scale) override;
    QList<QSize> availableSizes(QIcon::Mode mode, QIcon::State state) override;
    QString iconName() override;
    QString key() const override;
    QIconEngine* clone() const override;

private:
    std::string symbolName_;
    QString themeName_;
    QColor ink_;
};

}  // namespace velko
