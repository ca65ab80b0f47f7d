#!/usr/bin/python3
"""Presses keys through the real RemoteDesktop portal as a program of its own, which the desktop
takes as the person's keyboard: portal_keys.py CODE... (evdev codes, pressed in order, released in
reverse)."""
import sys

import dbus
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

PORTAL = "org.freedesktop.portal.Desktop"
PATH = "/org/freedesktop/portal/desktop"


def main():
    DBusGMainLoop(set_as_default=True)
    bus = dbus.SessionBus()
    remote = dbus.Interface(bus.get_object(PORTAL, PATH), "org.freedesktop.portal.RemoteDesktop")
    sender = bus.get_unique_name()[1:].replace(".", "_")
    loop = GLib.MainLoop()

    def ask(call, token, *arguments):
        answer = []
        path = "%s/request/%s/%s" % (PATH, sender, token)
        match = bus.add_signal_receiver(lambda code, results: (answer.append((code, results)), loop.quit()),
                                        "Response", "org.freedesktop.portal.Request", path=path)
        call(*arguments)
        GLib.timeout_add(10000, loop.quit)
        loop.run()
        match.remove()
        if not answer or answer[0][0] != 0:
            sys.exit("portal_keys: %s was not granted" % token)
        return answer[0][1]

    session = ask(remote.CreateSession, "create", {"handle_token": "create", "session_handle_token": "keys"})[
        "session_handle"]
    ask(remote.SelectDevices, "select", session, {"handle_token": "select", "types": dbus.UInt32(1)})
    ask(remote.Start, "start", session, "", {"handle_token": "start"})
    codes = [int(code) for code in sys.argv[1:]]
    for code, state in [(c, 1) for c in codes] + [(c, 0) for c in reversed(codes)]:
        remote.NotifyKeyboardKeycode(session, {}, code, dbus.UInt32(state))


if __name__ == "__main__":
    sys.exit(main())
