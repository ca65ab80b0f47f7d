// A clipboard manager as ICCCM describes one: it owns CLIPBOARD_MANAGER, and when a program that
// owns the CLIPBOARD asks it to SAVE_TARGETS (as toolkits do on exit) it copies every target and
// then serves them itself. Prints "managing" once it owns the selection, "saved N" after a save.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <xcb/xcb.h>

#define MAX_TARGETS 32
static xcb_connection_t* c;
static xcb_window_t window;
static xcb_atom_t clipboard, targetsAtom, saveTargets, manager, property;
static xcb_atom_t saved[MAX_TARGETS];
static char* data[MAX_TARGETS];
static uint32_t sizes[MAX_TARGETS], types[MAX_TARGETS];
static int count;

static xcb_atom_t atom(const char* name) {
    xcb_intern_atom_reply_t* r = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, strlen(name), name), NULL);
    xcb_atom_t a = r ? r->atom : XCB_NONE;
    free(r);
    return a;
}

// Converts CLIPBOARD to `target` and waits for the answer; serves nothing meanwhile.
static xcb_get_property_reply_t* fetch(xcb_atom_t target) {
    xcb_convert_selection(c, window, clipboard, target, property, XCB_CURRENT_TIME);
    xcb_flush(c);
    for (xcb_generic_event_t* e; (e = xcb_wait_for_event(c));) {
        int done = (e->response_type & 0x7f) == XCB_SELECTION_NOTIFY;
        int ok = done && ((xcb_selection_notify_event_t*)e)->property != XCB_NONE;
        free(e);
        if (!done) continue;
        if (!ok) return NULL;
        return xcb_get_property_reply(c, xcb_get_property(c, 1, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, ~0u / 4),
                                      NULL);
    }
    return NULL;
}

static void save(void) {
    xcb_get_property_reply_t* list = fetch(targetsAtom);
    if (!list) return;
    xcb_atom_t* targets = xcb_get_property_value(list);
    int n = xcb_get_property_value_length(list) / 4;
    count = 0;
    for (int i = 0; i < n && count < MAX_TARGETS; ++i) {
        if (targets[i] == targetsAtom || targets[i] == saveTargets) continue;
        xcb_get_property_reply_t* value = fetch(targets[i]);
        if (!value) continue;
        saved[count] = targets[i];
        types[count] = value->type;
        sizes[count] = xcb_get_property_value_length(value);
        data[count] = malloc(sizes[count] + 1);
        memcpy(data[count], xcb_get_property_value(value), sizes[count]);
        free(value);
        ++count;
    }
    free(list);
    xcb_set_selection_owner(c, window, clipboard, XCB_CURRENT_TIME);
}

static void answer(const xcb_selection_request_event_t* request, xcb_atom_t property) {
    xcb_selection_notify_event_t notify = {.response_type = XCB_SELECTION_NOTIFY, .time = request->time,
                                           .requestor = request->requestor, .selection = request->selection,
                                           .target = request->target, .property = property};
    xcb_send_event(c, 0, request->requestor, 0, (const char*)&notify);
    xcb_flush(c);
}

int main(void) {
    c = xcb_connect(NULL, NULL);
    if (xcb_connection_has_error(c)) return 1;
    xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    window = xcb_generate_id(c);
    xcb_create_window(c, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, 0, NULL);
    clipboard = atom("CLIPBOARD"), targetsAtom = atom("TARGETS"), saveTargets = atom("SAVE_TARGETS");
    manager = atom("CLIPBOARD_MANAGER"), property = atom("STANDIN_MANAGER_DATA");
    xcb_set_selection_owner(c, window, manager, XCB_CURRENT_TIME);
    xcb_flush(c);
    puts("managing");
    fflush(stdout);
    for (xcb_generic_event_t* e; (e = xcb_wait_for_event(c)); free(e)) {
        if ((e->response_type & 0x7f) != XCB_SELECTION_REQUEST) continue;
        const xcb_selection_request_event_t* r = (xcb_selection_request_event_t*)e;
        xcb_atom_t into = r->property != XCB_NONE ? r->property : r->target;
        if (r->selection == manager && r->target == saveTargets) {
            save();
            printf("saved %d\n", count);
            fflush(stdout);
            answer(r, into);
        } else if (r->selection == clipboard && r->target == targetsAtom) {
            xcb_change_property(c, XCB_PROP_MODE_REPLACE, r->requestor, into, XCB_ATOM_ATOM, 32, count, saved);
            answer(r, into);
        } else if (r->selection == clipboard) {
            int i = 0;
            while (i < count && saved[i] != r->target) ++i;
            if (i < count) xcb_change_property(c, XCB_PROP_MODE_REPLACE, r->requestor, into, types[i], 8, sizes[i], data[i]);
            answer(r, i < count ? into : XCB_NONE);
        } else {
            answer(r, XCB_NONE);
        }
    }
    return 0;
}
