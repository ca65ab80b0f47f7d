#include "qt/QtPasteboard.h"
#include "platform/Log.h"

#include "x11/X11ClipboardReader.h"
#include "x11/Xcb.h"

#include <poll.h>
#include <xcb/xcb.h>

#include <QClipboard>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QMimeData>
#include <QSet>
#include <chrono>
#include <cstdio>
#include <cstring>

namespace velko {
namespace {

// Targets of the selection protocol itself, and Qt's stand-in for "some image".
bool isMetaTarget(const QString& format) {
    static const QSet<QString> meta{"TARGETS", "MULTIPLE",         "TIMESTAMP",       "SAVE_TARGETS",          "DELETE",
                                    "INCR",    "INSERT_SELECTION", "INSERT_PROPERTY", "application/x-qt-image"};
    return meta.contains(format);
}

}  // namespace

QtPasteboard::QtPasteboard() {
    QClipboard* clipboard = QGuiApplication::clipboard();
    // Qt reports our own writes at once and other owners' changes when their notice is processed.
    changed_ = QObject::connect(clipboard, &QClipboard::changed, clipboard, [this](QClipboard::Mode mode) {
        if (mode == QClipboard::Clipboard) ++count_;
    });
}

QtPasteboard::~QtPasteboard() {
    QObject::disconnect(changed_);
    if (reader_.joinable()) reader_.join();  // bounded by snapshotBudget
}

QtPasteboard::Owner QtPasteboard::probeOwner() {
    const std::uint32_t owner = serverOwner();
    if (owner == XCB_NONE) return xcb::qtConnection() ? Owner::none : Owner::answers;  // without X, Qt's own
    if (owner == qtWindow_) return Owner::answers;  // ourselves: Qt answers without the server
    // Asked again once the selection changed hands, even back to the same window.
    if (owner == silentOwner_ && silentAtCount_ == count_) return Owner::silent;
    if (!probe_) {
        probe_.reset(xcb::connect());
        if (!probe_) return Owner::answers;  // let Qt try
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(probe_.get())).data;
        if (!screen) return Owner::answers;
        probeWindow_ = xcb_generate_id(probe_.get());
        xcb_create_window(probe_.get(), XCB_COPY_FROM_PARENT, probeWindow_, screen->root, 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
        targetsAtom_ = xcb::internAtom(probe_.get(), "TARGETS");
        probeProperty_ = xcb::internAtom(probe_.get(), "VELKO_OWNER_PROBE");
    }
    xcb_connection_t* c = probe_.get();
    if (xcb_connection_has_error(c)) return Owner::answers;
    while (xcb::Event{xcb_poll_for_event(c)}) continue;  // late answers to an earlier probe
    xcb_convert_selection(c, probeWindow_, clipboardAtom_, targetsAtom_, probeProperty_, XCB_CURRENT_TIME);
    xcb_flush(c);
    const auto deadline = std::chrono::steady_clock::now() + probeTimeout;
    pollfd fd{xcb_get_file_descriptor(c), POLLIN, 0};
    for (auto left = probeTimeout; left.count() > 0;
         left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now())) {
        while (const xcb::Event event{xcb_poll_for_event(c)}) {
            if ((event->response_type & 0x7f) != XCB_SELECTION_NOTIFY) continue;
            xcb_delete_property(c, probeWindow_, probeProperty_);
            xcb_flush(c);
            return Owner::answers;
        }
        ::poll(&fd, 1, static_cast<int>(left.count()));
    }
    silentOwner_ = owner;
    silentAtCount_ = count_;
    log::warning("the clipboard's owner does not answer; its contents cannot be kept");
    return Owner::silent;
}

std::uint32_t QtPasteboard::serverOwner() {
    xcb_connection_t* c = xcb::qtConnection();
    if (!c) return 0;
    if (!clipboardAtom_) clipboardAtom_ = xcb::internAtom(c, "CLIPBOARD");
    if (!clipboardAtom_) return 0;
    const xcb::Reply<xcb_get_selection_owner_reply_t> owner{
        xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, clipboardAtom_), nullptr)};
    return owner ? owner->owner : 0;
}

std::int64_t QtPasteboard::changeCount() {
    // Someone may have taken the selection while Qt's notice of it still waits in the queue; the
    // server knows already, and a restore must not overwrite that copy.
    if (countAtOwnWrite_ == count_ && ownWindow_ != 0 && serverOwner() != ownWindow_) return count_ + 1;
    return count_;
}

std::optional<std::vector<PasteboardItem>> QtPasteboard::items() {
    std::vector<PasteboardItem> items;
    switch (probeOwner()) {
        case Owner::none:
            return items;
        case Owner::silent:
            return std::nullopt;
        case Owner::answers:
            break;
    }
    const QMimeData* data = QGuiApplication::clipboard()->mimeData(QClipboard::Clipboard);
    if (!data) return std::nullopt;
    const QStringList formats = data->formats();
    if (formats.isEmpty()) return items;  // gone meanwhile, or offers nothing

    PasteboardItem item;
    const auto start = std::chrono::steady_clock::now();
    for (const QString& format : formats) {
        if (isMetaTarget(format)) continue;
        if (std::chrono::steady_clock::now() - start > snapshotBudget) break;
        const QByteArray bytes = data->data(format);
        // Qt gives the same empty answer for "empty" and "could not read": either way nothing to keep.
        if (bytes.isEmpty()) continue;
        item.types.emplace_back(format.toStdString(), Bytes(bytes.begin(), bytes.end()));
    }
    items.push_back(std::move(item));
    return items;
}

void QtPasteboard::readItems(std::function<void(std::optional<std::vector<PasteboardItem>>)> done) {
    const std::uint32_t owner = serverOwner();
    // Our own contents, an empty clipboard or no X at all: at hand without asking anyone.
    if (owner == XCB_NONE || owner == qtWindow_) return done(items());
    if (reader_.joinable()) reader_.join();  // the previous snapshot has handed its result over by now
    reader_ = std::thread([done = std::move(done)]() mutable {
        auto result = X11ClipboardReader::read(probeTimeout, snapshotBudget);
        for (const auto& type : result.late)
            log::warning(
                "the clipboard's owner did not give %s in time; it is left out of what "
                "comes back after the expansion",
                type.c_str());
        if (!result.items)
            log::warning(
                "the clipboard cannot be read; it will hold the snippet after the "
                "expansion");
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [done = std::move(done), items = std::move(result.items)]() mutable { done(std::move(items)); },
            Qt::QueuedConnection);
    });
}

std::optional<std::string> QtPasteboard::string() {
    if (probeOwner() != Owner::answers) return std::nullopt;
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
    if (ownWindow_) qtWindow_ = ownWindow_;
    countAtOwnWrite_ = count_;
}

}  // namespace velko
