#include "x11/X11ClipboardReader.h"

#include "x11/Xcb.h"

#include <poll.h>

#include <algorithm>
#include <functional>
#include <string_view>

namespace velko {
namespace {

using Clock = std::chrono::steady_clock;
using xcb::Reply;
constexpr std::size_t maxTypes = 64;

// Targets of the selection protocol itself, non-byte targets, and Qt's stand-in for "some image".
bool isMetaTarget(std::string_view name) {
    for (std::string_view meta :
         {"TARGETS", "MULTIPLE", "TIMESTAMP", "SAVE_TARGETS", "DELETE", "INCR", "INSERT_SELECTION", "INSERT_PROPERTY",
          "application/x-qt-image", "PIXMAP", "BITMAP", "DRAWABLE", "COLORMAP"})
        if (name == meta) return true;
    return false;
}

// The targets that carry the plain text, best first; Qt offers them all again for "text/plain".
constexpr std::string_view textTargets[] = {"UTF8_STRING",  "text/plain;charset=utf-8", "text/plain", "STRING", "TEXT",
                                            "COMPOUND_TEXT"};
bool isTextTarget(std::string_view name) { return std::ranges::find(textTargets, name) != std::end(textTargets); }

Bytes latin1ToUtf8(const Bytes& latin1) {
    Bytes out;
    out.reserve(latin1.size());
    for (const std::uint8_t byte : latin1) {
        if (byte < 0x80) {
            out.push_back(byte);
        } else {
            out.push_back(static_cast<std::uint8_t>(0xC0 | (byte >> 6)));
            out.push_back(static_cast<std::uint8_t>(0x80 | (byte & 0x3F)));
        }
    }
    return out;
}

class Session {
public:
    enum class Outcome { read, refused, late };

    explicit Session(xcb_connection_t* c) : c_(c) {
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
        window_ = xcb_generate_id(c);
        const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;  // for large types sent in pieces
        xcb_create_window(c, XCB_COPY_FROM_PARENT, window_, screen->root, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                          XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &events);
        clipboard_ = xcb::internAtom(c, "CLIPBOARD");
        incr_ = xcb::internAtom(c, "INCR");
    }

    bool ownerPresent() {
        Reply<xcb_get_selection_owner_reply_t> owner{
            xcb_get_selection_owner_reply(c_, xcb_get_selection_owner(c_, clipboard_), nullptr)};
        return owner && owner->owner != XCB_NONE;
    }

    // Asks the owner for one target into `property` (one per request, so a late answer to an
    // earlier one cannot be taken for this one's).
    Outcome convert(xcb_atom_t target, xcb_atom_t property, Clock::time_point deadline, Clock::duration perPiece,
                    Bytes& out) {
        xcb_convert_selection(c_, window_, clipboard_, target, property, XCB_CURRENT_TIME);
        xcb_flush(c_);
        bool refused = false;
        const bool answered = waitFor(deadline, [&](const xcb_generic_event_t* event) {
            if ((event->response_type & 0x7f) != XCB_SELECTION_NOTIFY) return false;
            const auto* notify = reinterpret_cast<const xcb_selection_notify_event_t*>(event);
            if (notify->requestor != window_ || notify->target != target) return false;
            if (notify->property != property && notify->property != XCB_NONE) return false;
            refused = notify->property == XCB_NONE;
            return true;
        });
        if (!answered) return Outcome::late;
        if (refused) return Outcome::refused;
        xcb_atom_t type = XCB_NONE;
        if (!take(property, out, type)) return Outcome::refused;
        if (type != incr_) return Outcome::read;
        // Piece by piece: each one comes as a new value of the property, an empty one ends it.
        out.clear();
        for (;;) {
            const auto pieceDeadline = std::min(deadline, Clock::now() + perPiece);
            const bool more = waitFor(pieceDeadline, [&](const xcb_generic_event_t* event) {
                if ((event->response_type & 0x7f) != XCB_PROPERTY_NOTIFY) return false;
                const auto* notify = reinterpret_cast<const xcb_property_notify_event_t*>(event);
                return notify->window == window_ && notify->atom == property && notify->state == XCB_PROPERTY_NEW_VALUE;
            });
            if (!more) return Outcome::late;
            Bytes piece;
            if (!take(property, piece, type)) return Outcome::refused;
            if (type == XCB_NONE) continue;  // a notice from before the transfer began
            if (piece.empty()) return Outcome::read;
            out.insert(out.end(), piece.begin(), piece.end());
        }
    }

    // Reads and deletes the property; false when the connection fails.
    bool take(xcb_atom_t property, Bytes& out, xcb_atom_t& type) {
        Reply<xcb_get_property_reply_t> reply{xcb_get_property_reply(
            c_, xcb_get_property(c_, 1, window_, property, XCB_GET_PROPERTY_TYPE_ANY, 0, UINT32_MAX / 4), nullptr)};
        if (!reply) return false;
        xcb_flush(c_);  // the delete lets an owner sending pieces go on
        type = reply->type;
        const auto* value = static_cast<const std::uint8_t*>(xcb_get_property_value(reply.get()));
        out.assign(value, value + xcb_get_property_value_length(reply.get()));
        return true;
    }

    std::vector<xcb_atom_t> atoms(const Bytes& bytes) const {
        std::vector<xcb_atom_t> out(bytes.size() / sizeof(xcb_atom_t));
        std::copy(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(out.size() * sizeof(xcb_atom_t)),
                  reinterpret_cast<std::uint8_t*>(out.data()));
        return out;
    }

    std::vector<std::string> names(const std::vector<xcb_atom_t>& atoms) {
        std::vector<xcb_get_atom_name_cookie_t> cookies;
        for (const auto atom : atoms) cookies.push_back(xcb_get_atom_name(c_, atom));
        std::vector<std::string> out;
        for (const auto cookie : cookies) {
            Reply<xcb_get_atom_name_reply_t> name{xcb_get_atom_name_reply(c_, cookie, nullptr)};
            out.emplace_back(name ? std::string(xcb_get_atom_name_name(name.get()),
                                                static_cast<std::size_t>(xcb_get_atom_name_name_length(name.get())))
                                  : std::string());
        }
        return out;
    }

    std::vector<xcb_atom_t> properties(std::size_t count) {
        std::vector<xcb_intern_atom_cookie_t> cookies;
        for (std::size_t i = 0; i < count; ++i) {
            const std::string name = "VELKO_CLIPBOARD_" + std::to_string(i);
            cookies.push_back(xcb_intern_atom(c_, 0, static_cast<std::uint16_t>(name.size()), name.data()));
        }
        std::vector<xcb_atom_t> out;
        for (const auto cookie : cookies) {
            Reply<xcb_intern_atom_reply_t> atom{xcb_intern_atom_reply(c_, cookie, nullptr)};
            out.push_back(atom ? atom->atom : xcb_atom_t{XCB_ATOM_NONE});
        }
        return out;
    }

private:
    bool waitFor(Clock::time_point deadline, const std::function<bool(const xcb_generic_event_t*)>& wanted) {
        pollfd fd{xcb_get_file_descriptor(c_), POLLIN, 0};
        for (;;) {
            while (const xcb::Event event{xcb_poll_for_event(c_)})
                if (wanted(event.get())) return true;
            if (xcb_connection_has_error(c_)) return false;
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
            if (left <= 0) return false;
            ::poll(&fd, 1, static_cast<int>(left));
        }
    }

    xcb_connection_t* c_;
    xcb_window_t window_ = 0;
    xcb_atom_t clipboard_ = XCB_NONE;
    xcb_atom_t incr_ = XCB_NONE;
};

}  // namespace

X11ClipboardReader::Result X11ClipboardReader::read(std::chrono::milliseconds perType,
                                                    std::chrono::milliseconds total) {
    Result result;
    const xcb::Connection connection{xcb::connect()};
    if (!connection) return result;
    xcb_connection_t* c = connection.get();
    const auto end = Clock::now() + total;
    const auto deadline = [&] { return std::min(end, Clock::now() + perType); };
    Session session(c);
    if (!session.ownerPresent()) {
        result.items.emplace();
        return result;
    }

    Bytes listed;
    const auto targetsProperty = session.properties(1).front();
    const auto listing = session.convert(xcb::internAtom(c, "TARGETS"), targetsProperty, deadline(), perType, listed);
    if (listing != Session::Outcome::read) {
        if (listing == Session::Outcome::late) result.late.emplace_back("TARGETS");
        return result;
    }
    const auto targets = session.atoms(listed);
    const auto names = session.names(targets);

    // One read per type as Qt names it: the text once, from its best target, where it first appears.
    struct Wanted {
        std::string type;
        xcb_atom_t target;
        bool latin1;
    };
    std::vector<Wanted> wanted;
    const auto text = std::ranges::find_first_of(textTargets, names);
    for (std::size_t i = 0; i < targets.size() && wanted.size() < maxTypes; ++i) {
        const std::string& name = names[i];
        if (name.empty() || isMetaTarget(name)) continue;
        if (isTextTarget(name)) {
            if (text == std::end(textTargets) ||
                std::ranges::any_of(wanted, [](const Wanted& w) { return w.type == "text/plain"; }))
                continue;
            const auto at = std::ranges::find(names, *text) - names.begin();
            wanted.push_back(
                {"text/plain", targets[static_cast<std::size_t>(at)], *text == "STRING" || *text == "TEXT"});
            continue;
        }
        if (std::ranges::none_of(wanted, [&](const Wanted& w) { return w.type == name; }))
            wanted.push_back({name, targets[i], false});
    }

    PasteboardItem item;
    const auto properties = session.properties(wanted.size() + 1);
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        Bytes bytes;
        const auto outcome = Clock::now() >= end
                                 ? Session::Outcome::late
                                 : session.convert(wanted[i].target, properties[i + 1], deadline(), perType, bytes);
        if (outcome == Session::Outcome::late) result.late.push_back(wanted[i].type);
        // Refused and empty come to the same: nothing to keep.
        if (outcome != Session::Outcome::read || bytes.empty()) continue;
        item.types.emplace_back(wanted[i].type, wanted[i].latin1 ? latin1ToUtf8(bytes) : std::move(bytes));
    }
    result.items.emplace();
    if (!wanted.empty()) result.items->push_back(std::move(item));
    return result;
}

}  // namespace velko
