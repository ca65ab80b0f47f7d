#pragma once
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "platform/Pasteboard.h"
#include "platform/Result.h"

struct zwlr_data_control_manager_v1;
struct zwlr_data_control_device_v1;
struct zwlr_data_control_offer_v1;
struct zwlr_data_control_source_v1;

namespace velko {

class WaylandConnection;

// The Wayland clipboard of the first seat through zwlr_data_control_manager_v1, which reads and sets
// it without a focused window (wlroots compositors, KDE). One item, whose types are the MIME types the
// owner offers. What the helper writes it serves itself from memory, for as long as it runs and the
// caller's loop calls dispatch() when fd() is readable. Main thread only.
class WaylandDataControlPasteboard : public Pasteboard {
public:
    // A clipboard on $WAYLAND_DISPLAY; fails without a compositor, its data-control protocol or a seat.
    static Result<std::unique_ptr<WaylandDataControlPasteboard>> connect();
    ~WaylandDataControlPasteboard() override;
    WaylandDataControlPasteboard(const WaylandDataControlPasteboard&) = delete;
    WaylandDataControlPasteboard& operator=(const WaylandDataControlPasteboard&) = delete;

    // Selection changes the compositor reported since connect(), asked afresh; stays put once it is gone.
    std::int64_t changeCount() override;
    // Every type read within the time and size bounds; nullopt when the compositor is gone or no type could be
    // read (an owner that sends no end to the first one is not asked again until the clipboard changes).
    std::optional<std::vector<PasteboardItem>> items() override;
    // items() in three steps, so that the waiting can happen off the main thread: request() asks the owner
    // for every type at once (main thread), gather() reads the answers (any thread), settle() takes the
    // outcome in (main thread). Each type must end within typeTimeout and all within snapshotBudget.
    struct Requested {
        std::vector<std::pair<std::string, int>> pipes;  // each type asked for, and where its bytes come
        std::int64_t count = 0;
    };
    struct Gathered {
        std::optional<std::vector<PasteboardItem>> items;
        std::vector<std::string> late;  // types that did not end in time
        std::int64_t count = 0;
        bool silent = false;  // not even the first type came: the owner does not answer
    };
    // The contents themselves when they are at hand without the owner (ours, empty, silent owner, gone).
    std::variant<std::optional<std::vector<PasteboardItem>>, Requested> request();
    // Reads and closes every pipe; never touches the connection.
    static Gathered gather(Requested requested);
    // An owner found silent is not asked again until the clipboard changes.
    std::optional<std::vector<PasteboardItem>> settle(Gathered gathered);

    // The UTF-8 text on it; nullopt without a text type, an owner that does not answer, or no compositor.
    std::optional<std::string> string() override;
    // Empties the clipboard; nothing happens without a compositor.
    void clearContents() override;
    // Offers `text` under the text types Wayland and X11 clients ask for; nothing happens without a compositor.
    void writeString(const std::string& text) override;
    // Offers every type once, the first item's bytes winning; no types at all empties the clipboard.
    void writeItems(const std::vector<PasteboardItem>& items) override;

    // False from the first connection error on, for good.
    bool isAlive() const { return alive_; }
    // The compositor socket, for the caller's loop to call dispatch() when it is readable.
    int fd() const;
    // Handles what the compositor sent (requests for what we offer included) without waiting for more;
    // false once the connection is gone.
    bool dispatch();

    // How long the compositor may take to answer before a call gives up on it.
    static constexpr std::chrono::milliseconds replyTimeout{1000};
    // An owner that sends no end to one type within this long counts as not answering.
    static constexpr std::chrono::milliseconds typeTimeout{1000};
    // Reading stops once this much time went into one snapshot; the types read by then are kept.
    static constexpr std::chrono::milliseconds snapshotBudget{2000};
    // A snapshot keeps at most this many bytes; a type that would pass it is left out whole.
    static constexpr std::size_t maxSnapshotBytes = std::size_t{64} << 20;
    // A reader of what we offer that takes nothing for this long gets what was written by then.
    static constexpr std::chrono::milliseconds sendStallTimeout{1000};

private:
    using Types = std::vector<std::pair<std::string, Bytes>>;
    struct Offer {
        ~Offer();
        zwlr_data_control_offer_v1* proxy = nullptr;
        std::vector<std::string> types;
    };
    struct Listeners;
    enum class Read { done, silent, failed, tooLarge };

    WaylandDataControlPasteboard();
    // Waits for the compositor to have handled every request sent so far; false when gone or too slow.
    bool roundtrip();
    // Reads into the queue and dispatches it, waiting up to timeout for the socket; false when gone.
    bool pump(std::chrono::milliseconds timeout);
    bool flush();
    bool lost();
    void offer(Types types);
    // Asks the owner for one type; the pipe its bytes come through, or -1.
    int ask(const std::string& type);
    static Read drain(int fd, Bytes& bytes, std::chrono::milliseconds timeout, std::size_t limit);
    void serve(zwlr_data_control_source_v1* source, const char* type, int fd);
    void select(zwlr_data_control_offer_v1* proxy);
    bool ownsSelection() const { return ownSource_ != nullptr; }
    bool ownerIsSilent() const { return silentAtCount_ == count_; }

    std::unique_ptr<WaylandConnection> connection_;  // first, so that it closes last
    zwlr_data_control_manager_v1* manager_ = nullptr;
    zwlr_data_control_device_v1* device_ = nullptr;
    // Offers announced but not yet selected, and the current selection's (null: nothing copied).
    std::vector<std::unique_ptr<Offer>> announced_;
    std::unique_ptr<Offer> current_;
    // Our source while it is the selection, and what it serves.
    zwlr_data_control_source_v1* ownSource_ = nullptr;
    Types ownTypes_;
    std::int64_t count_ = 0;
    std::int64_t silentAtCount_ = -1;
    bool alive_ = false;
};

}  // namespace velko
