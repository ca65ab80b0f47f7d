#pragma once
#include <QMetaObject>
#include <chrono>
#include <cstdint>
#include <thread>

#include "platform/Pasteboard.h"
#include "x11/Xcb.h"

class QMimeData;

namespace velko {

// The X11 CLIPBOARD selection through QClipboard, as one item whose types are the MIME types its
// owner offers (X11 meta targets left out). What the helper writes it serves itself, for as long
// as it runs. Needs a QGuiApplication.
class QtPasteboard : public Pasteboard {
public:
    QtPasteboard();
    ~QtPasteboard() override;
    QtPasteboard(const QtPasteboard&) = delete;
    QtPasteboard& operator=(const QtPasteboard&) = delete;

    std::int64_t changeCount() override;
    std::optional<std::vector<PasteboardItem>> items() override;
    // Another client's contents are read on a thread of its own, each type within
    // probeTimeout and all within snapshotBudget; a type that does not come is logged.
    void readItems(std::function<void(std::optional<std::vector<PasteboardItem>>)> done) override;
    std::optional<std::string> string() override;
    void clearContents() override;
    void writeString(const std::string& text) override;
    void writeItems(const std::vector<PasteboardItem>& items) override;

    // Qt waits five seconds for an owner that does not answer, with the main thread stopped; the
    // owner is asked for its types this long first, and a silent one counts as unreadable until
    // the selection changes hands.
    static constexpr std::chrono::milliseconds probeTimeout{1000};
    // Reading stops once this much time went into one snapshot; the types read by then are kept.
    static constexpr std::chrono::milliseconds snapshotBudget{2000};

private:
    enum class Owner { none, answers, silent };
    Owner probeOwner();
    void take(QMimeData* data);
    std::uint32_t serverOwner();

    QMetaObject::Connection changed_;
    std::thread reader_;
    std::int64_t count_ = 0;
    // The window that held the selection right after our last write, and the count then.
    std::uint32_t ownWindow_ = 0;
    std::int64_t countAtOwnWrite_ = -1;
    std::uint32_t clipboardAtom_ = 0;
    // The window Qt owns the selection with, once we have written.
    std::uint32_t qtWindow_ = 0;
    // A connection of our own for probing, so Qt's event handling never sees the answers.
    xcb::Connection probe_;
    std::uint32_t probeWindow_ = 0;
    std::uint32_t targetsAtom_ = 0;
    std::uint32_t probeProperty_ = 0;
    std::uint32_t silentOwner_ = 0;
    std::int64_t silentAtCount_ = -1;
};

}  // namespace velko
