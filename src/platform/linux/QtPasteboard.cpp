#include "platform/linux/QtPasteboard.h"

#include <xcb/xcb.h>

#include <QClipboard>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QMimeData>
#include <QSet>
#include <cstdlib>
#include <cstring>

namespace velko {
namespace {

// Targets of the selection protocol itself, and Qt's stand-in for "some image".
bool isMetaTarget(const QString& format) {
    static const QSet<QString> meta{"TARGETS", "MULTIPLE",         "TIMESTAMP",       "SAVE_TARGETS",          "DELETE",
                                    "INCR",    "INSERT_SELECTION", "INSERT_PROPERTY", "application/x-qt-image"};
    return meta.contains(format);
}

xcb_connection_t* x11Connection() {
    const auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

}  // namespace

QtPasteboard::QtPasteboard() {
    QClipboard* clipboard = QGuiApplication::clipboard();
    // Qt reports our own writes at once and other owners' changes when their notice is processed.
    changed_ = QObject::connect(clipboard, &QClipboard::changed, clipboard, [this](QClipboard::Mode mode) {
        if (mode == QClipboard::Clipboard) ++count_;
    });
}

QtPasteboard::~QtPasteboard() { QObject::disconnect(changed_); }

std::uint32_t QtPasteboard::serverOwner() {
    xcb_connection_t* c = x11Connection();
    if (!c) return 0;
    if (!clipboardAtom_) {
        static constexpr char name[] = "CLIPBOARD";
        auto* atom = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, std::strlen(name), name), nullptr);
        if (!atom) return 0;
        clipboardAtom_ = atom->atom;
        std::free(atom);
    }
    auto* owner = xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, clipboardAtom_), nullptr);
    if (!owner) return 0;
    const std::uint32_t window = owner->owner;
    std::free(owner);
    return window;
}

std::int64_t QtPasteboard::changeCount() {
    // Someone may have taken the selection while Qt's notice of it still waits in the queue; the
    // server knows already, and a restore must not overwrite that copy.
    if (countAtOwnWrite_ == count_ && ownWindow_ != 0 && serverOwner() != ownWindow_) return count_ + 1;
    return count_;
}

std::optional<std::vector<PasteboardItem>> QtPasteboard::items() {
    const QMimeData* data = QGuiApplication::clipboard()->mimeData(QClipboard::Clipboard);
    if (!data) return std::nullopt;
    const QStringList formats = data->formats();
    std::vector<PasteboardItem> items;
    if (formats.isEmpty()) return items;  // nobody owns the selection

    PasteboardItem item;
    QElapsedTimer spent;
    spent.start();
    for (const QString& format : formats) {
        if (isMetaTarget(format)) continue;
        if (spent.elapsed() > snapshotBudgetMs) break;
        const QByteArray bytes = data->data(format);
        // Qt gives the same empty answer for "empty" and "could not read": either way nothing to keep.
        if (bytes.isEmpty()) continue;
        item.types.emplace_back(format.toStdString(), Bytes(bytes.begin(), bytes.end()));
    }
    items.push_back(std::move(item));
    return items;
}

std::optional<std::string> QtPasteboard::string() {
    const QMimeData* data = QGuiApplication::clipboard()->mimeData(QClipboard::Clipboard);
    if (!data || !data->hasText()) return std::nullopt;
    return data->text().toStdString();
}

void QtPasteboard::clearContents() {
    QGuiApplication::clipboard()->clear(QClipboard::Clipboard);
    ownWindow_ = 0;
}

void QtPasteboard::writeString(const std::string& text) {
    auto* data = new QMimeData;
    data->setText(QString::fromStdString(text));
    take(data);
}

void QtPasteboard::writeItems(const std::vector<PasteboardItem>& items) {
    auto* data = new QMimeData;
    for (const auto& item : items)
        for (const auto& [type, bytes] : item.types) {
            const QString format = QString::fromStdString(type);
            if (data->hasFormat(format)) continue;
            data->setData(
                format, QByteArray(reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size())));
        }
    take(data);
}

void QtPasteboard::take(QMimeData* data) {
    // One ownership change, so one count: Qt replaces what it held without clearing first.
    QGuiApplication::clipboard()->setMimeData(data, QClipboard::Clipboard);
    ownWindow_ = serverOwner();
    countAtOwnWrite_ = count_;
}

}  // namespace velko
