// velko-test-clipboard-owner TYPE=FILE...: owns the X11 CLIPBOARD offering each MIME type with the
// bytes of its file, as an application that copies an image with a caption does (xclip offers one
// type only). Prints "owned" once it holds the selection; exits when another client takes it.
#include <xcb/xcb.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

xcb_atom_t intern(xcb_connection_t* c, const std::string& name) {
    auto* reply = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, name.size(), name.c_str()), nullptr);
    xcb_atom_t atom = XCB_ATOM_NONE;
    if (reply) atom = reply->atom;
    std::free(reply);
    return atom;
}

struct Offer {
    xcb_atom_t target;
    std::string bytes;
};

}  // namespace

int main(int argc, char** argv) {
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(c)) return 1;
    xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;

    std::vector<Offer> offers;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const auto eq = arg.find('=');
        std::ifstream file(arg.substr(eq + 1), std::ios::binary);
        if (eq == std::string::npos || !file) return 2;
        offers.push_back({intern(c, arg.substr(0, eq)), {std::istreambuf_iterator<char>(file), {}}});
    }
    const xcb_atom_t clipboard = intern(c, "CLIPBOARD");
    const xcb_atom_t targets = intern(c, "TARGETS");
    const xcb_atom_t timestamp = intern(c, "TIMESTAMP");

    // A property change on our own window gives a real server time for the ownership.
    const xcb_window_t window = xcb_generate_id(c);
    const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(c, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &mask);
    xcb_change_property(c, XCB_PROP_MODE_APPEND, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, 0, "");
    xcb_flush(c);
    xcb_timestamp_t time = XCB_CURRENT_TIME;
    while (xcb_generic_event_t* event = xcb_wait_for_event(c)) {
        const bool done = (event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY;
        if (done) time = reinterpret_cast<xcb_property_notify_event_t*>(event)->time;
        std::free(event);
        if (done) break;
    }
    xcb_set_selection_owner(c, window, clipboard, time);
    auto* owner = xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, clipboard), nullptr);
    if (!owner || owner->owner != window) return 3;
    std::free(owner);
    std::puts("owned");
    std::fflush(stdout);

    while (xcb_generic_event_t* event = xcb_wait_for_event(c)) {
        const std::uint8_t type = event->response_type & 0x7f;
        if (type == XCB_SELECTION_CLEAR) return 0;
        if (type == XCB_SELECTION_REQUEST) {
            const auto* request = reinterpret_cast<xcb_selection_request_event_t*>(event);
            xcb_selection_notify_event_t notify{};
            notify.response_type = XCB_SELECTION_NOTIFY;
            notify.time = request->time;
            notify.requestor = request->requestor;
            notify.selection = request->selection;
            notify.target = request->target;
            notify.property = XCB_ATOM_NONE;
            const xcb_atom_t property = request->property ? request->property : request->target;
            if (request->target == targets) {
                std::vector<xcb_atom_t> list{targets, timestamp};
                for (const auto& offer : offers) list.push_back(offer.target);
                xcb_change_property(c, XCB_PROP_MODE_REPLACE, request->requestor, property, XCB_ATOM_ATOM, 32,
                                    list.size(), list.data());
                notify.property = property;
            } else if (request->target == timestamp) {
                xcb_change_property(c, XCB_PROP_MODE_REPLACE, request->requestor, property, XCB_ATOM_INTEGER, 32, 1,
                                    &time);
                notify.property = property;
            } else {
                for (const auto& offer : offers)
                    if (offer.target == request->target) {
                        xcb_change_property(c, XCB_PROP_MODE_REPLACE, request->requestor, property, offer.target, 8,
                                            offer.bytes.size(), offer.bytes.data());
                        notify.property = property;
                    }
            }
            xcb_send_event(c, 0, request->requestor, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&notify));
            xcb_flush(c);
        }
        std::free(event);
    }
    return 0;
}
