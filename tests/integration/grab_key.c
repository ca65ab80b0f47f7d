// Holds one key combination on the root window, as another hotkey program would.
// Usage: grab_key KEYCODE MODIFIER-STATE; prints "grabbed" once it holds it, then waits.
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>
#include <xcb/xcb.h>

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    xcb_connection_t* c = xcb_connect(NULL, NULL);
    if (xcb_connection_has_error(c)) return 1;
    xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    xcb_void_cookie_t grab =
        xcb_grab_key_checked(c, 1, root, (uint16_t)strtol(argv[2], NULL, 0), (xcb_keycode_t)atoi(argv[1]),
                             XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    xcb_generic_error_t* error = xcb_request_check(c, grab);
    if (error) return 1;
    puts("grabbed");
    fflush(stdout);
    for (;;) pause();
}
