#include "qt/QtPreferencesWindow.h"

#include <QCursor>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QStyleFactory>

#include "qt/BundledImages.h"

namespace velko {

namespace {

QRect geometryOf(const Rect& r) { return QRect(qRound(r.x), qRound(r.y), qRound(r.width), qRound(r.height)); }

// Sizes are in points as the model gives them; a point is one logical pixel here, as on the
// platform the layout was drawn for, so text fits its frames at any DPI setting.
QFont fontOf(const Font& font) {
    QFont f = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    f.setPixelSize(qRound(font.size));
    switch (font.weight) {
        case FontWeight::regular:
            f.setWeight(QFont::Normal);
            break;
        case FontWeight::medium:
            f.setWeight(QFont::Medium);
            break;
        case FontWeight::semibold:
            f.setWeight(QFont::DemiBold);
            break;
    }
    return f;
}

qreal ratioOf(const QWidget* widget) {
    const QScreen* screen = widget->screen() ? widget->screen() : QGuiApplication::primaryScreen();
    return screen ? screen->devicePixelRatio() : 1.0;
}

void addLabel(QWidget* parent, const Label& model) {
    auto* label = new QLabel(QString::fromStdString(model.text), parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(model.wraps);
    label->setGeometry(geometryOf(model.frame));
    label->setFont(fontOf(model.font));
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, BundledImages::color(model.color));
    label->setPalette(palette);
    // Labels draw from the top of their frame, as on the platform the layout comes from.
    Qt::Alignment alignment = Qt::AlignTop;
    switch (model.alignment) {
        case TextAlignment::natural:
            alignment |= Qt::AlignLeading;
            break;
        case TextAlignment::center:
            alignment |= Qt::AlignHCenter;
            break;
        case TextAlignment::right:
            alignment |= Qt::AlignTrailing;
            break;
    }
    label->setAlignment(alignment);
}

void addSymbol(QWidget* parent, const SymbolImage& model) {
    auto* view = new QLabel(parent);
    view->setGeometry(geometryOf(model.frame));
    view->setAlignment(Qt::AlignCenter);
    // A symbol at point size s is about s + 4 high; an unknown symbol leaves the view empty.
    const int side = qMin(qRound(model.pointSize) + 4, view->width());
    const QPixmap image =
        BundledImages::symbol(model.symbolName, side, BundledImages::color(model.tint), ratioOf(parent));
    if (!image.isNull()) view->setPixmap(image);
}

// The rounded bezel: white, a hairline border, darker while pressed.
QString buttonStyle() {
    const QColor border = BundledImages::color(NamedColor::separatorColor);
    return QStringLiteral(
               "QPushButton { background: %1; color: %2; border: 1px solid rgba(0, 0, 0, %3);"
               " border-radius: 5px; padding: 0 10px; min-height: 20px; }"
               "QPushButton:pressed { background: rgb(224, 224, 224); }"
               "QPushButton:focus { border-color: %4; }")
        .arg(BundledImages::color(NamedColor::controlBackgroundColor).name(),
             BundledImages::color(NamedColor::labelColor).name(QColor::HexArgb))
        .arg(border.alpha() * 2)
        .arg(BundledImages::color(NamedColor::systemBlueColor).name());
}

QPushButton* makeButton(const Button& model, ButtonTarget& target, QWidget* parent) {
    auto* button = new QPushButton(QString::fromStdString(model.title), parent);
    button->setFont(fontOf(Font{model.controlSize == ControlSize::small ? 11.0 : 13.0, FontWeight::regular}));
    button->setFocusPolicy(Qt::TabFocus);  // a click must not leave a focus frame behind
    button->setAutoDefault(false);
    button->setStyleSheet(buttonStyle());
    if (model.frame) {
        button->setGeometry(geometryOf(*model.frame));
    } else {
        button->setFixedHeight(22);
    }
    const ButtonAction action = model.action;
    QObject::connect(button, &QPushButton::clicked, button, [&target, action] { target.perform(action); });
    return button;
}

// A rounded panel with a hairline border.
class CardView : public QWidget {
public:
    CardView(const Card& card, QWidget* parent)
        : QWidget(parent),
          fill_(BundledImages::color(card.background)),
          border_(BundledImages::color(card.border)),
          radius_(card.cornerRadius),
          borderWidth_(card.borderWidth) {
        setGeometry(geometryOf(card.frame));
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const qreal inset = borderWidth_ / 2;
        const QRectF bounds = QRectF(rect()).adjusted(inset, inset, -inset, -inset);
        painter.setPen(QPen(border_, borderWidth_));
        painter.setBrush(fill_);
        painter.drawRoundedRect(bounds, radius_, radius_);
    }

private:
    QColor fill_;
    QColor border_;
    qreal radius_;
    qreal borderWidth_;
};

void addCard(QWidget* document, const Card& card, ButtonTarget& target) {
    auto* view = new CardView(card, document);
    for (const auto& row : card.rows) {
        addSymbol(view, row.icon);
        addLabel(view, row.title);
        addLabel(view, row.status);
        if (row.button) makeButton(*row.button, target, view);
    }
}

QPalette windowPalette(const PreferencesWindowModel& model) {
    QPalette palette;
    const QColor background = BundledImages::color(model.window.background);
    const QColor text = BundledImages::color(NamedColor::labelColor);
    const QColor control = BundledImages::color(NamedColor::controlBackgroundColor);
    for (auto group : {QPalette::Active, QPalette::Inactive}) {
        palette.setColor(group, QPalette::Window, background);
        palette.setColor(group, QPalette::WindowText, text);
        palette.setColor(group, QPalette::Base, control);
        palette.setColor(group, QPalette::Button, control);
        palette.setColor(group, QPalette::ButtonText, text);
        palette.setColor(group, QPalette::Text, text);
        palette.setColor(group, QPalette::Highlight, BundledImages::color(NamedColor::systemBlueColor));
    }
    return palette;
}

}  // namespace

QtPreferencesWindow::QtPreferencesWindow(const PreferencesWindowModel& model, ButtonTarget& target)
    : style_(QStyleFactory::create(QStringLiteral("Fusion"))) {
    // A utility window, titled and closable only; it stays above normal windows.
    window_ = std::make_unique<QWidget>(nullptr, Qt::Tool | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                                                     Qt::WindowCloseButtonHint | Qt::WindowStaysOnTopHint);
    window_->setAttribute(Qt::WA_ShowWithoutActivating);
    window_->setAttribute(Qt::WA_DeleteOnClose, false);
    window_->setWindowTitle(QString::fromStdString(model.window.title));
    window_->setObjectName(QStringLiteral("preferences"));
    const QSize content(qRound(model.window.contentWidth), qRound(model.window.contentHeight));
    window_->setFixedSize(content);
    window_->setPalette(windowPalette(model));
    window_->setAutoFillBackground(true);

    auto* scroll = new QScrollArea(window_.get());
    scroll->setGeometry(QRect(QPoint(0, 0), content));
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    // Shown only when there is something to scroll, so it never covers the cards' right edge.
    scroll->setVerticalScrollBarPolicy(model.window.verticalScroller ? Qt::ScrollBarAsNeeded : Qt::ScrollBarAlwaysOff);
    scroll->setWidgetResizable(false);
    scroll->viewport()->setAutoFillBackground(false);  // the window's background shows through

    auto* document = new QWidget();
    document->setAutoFillBackground(false);
    document->resize(qRound(model.window.documentWidth), qRound(model.window.documentHeight));

    auto* icon = new QLabel(document);
    icon->setGeometry(geometryOf(model.appIcon.frame));
    icon->setAlignment(Qt::AlignCenter);
    const int iconSide = qMin(icon->width(), icon->height());
    const QPixmap appIcon = BundledImages::image(model.appIcon.imageName, iconSide, ratioOf(window_.get()));
    if (!appIcon.isNull()) {
        icon->setPixmap(appIcon);
        window_->setWindowIcon(QIcon(appIcon));
    }

    addLabel(document, model.title);
    addLabel(document, model.version);
    addCard(document, model.statusCard, target);
    addCard(document, model.featuresCard, target);

    auto* row = new QWidget(document);
    row->setGeometry(geometryOf(model.buttonRow.frame));
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(qRound(model.buttonRow.spacing));
    for (const auto& button : model.buttonRow.buttons) layout->addWidget(makeButton(button, target, row));
    layout->addStretch(1);
    if (!model.backendsCard.rows.empty()) addCard(document, model.backendsCard, target);

    scroll->setWidget(document);
    // One fixed look that matches the colour table, whatever the desktop's widget style.
    window_->setStyle(style_.get());
    for (auto* child : window_->findChildren<QWidget*>()) child->setStyle(style_.get());
}

QtPreferencesWindow::~QtPreferencesWindow() = default;

bool QtPreferencesWindow::isVisible() { return window_->isVisible(); }

void QtPreferencesWindow::center() {
    QScreen* screen = QGuiApplication::screenAt(QCursor::pos());
    if (!screen) screen = QGuiApplication::primaryScreen();
    if (!screen) return;
    const QRect area = screen->availableGeometry();
    window_->move(area.x() + (area.width() - window_->width()) / 2, area.y() + (area.height() - window_->height()) / 2);
}

void QtPreferencesWindow::orderFrontRegardless() {
    if (!window_->isVisible()) {
        window_->show();
    } else {
        window_->raise();  // forward, but the user's window keeps the keyboard
    }
}

}  // namespace velko
