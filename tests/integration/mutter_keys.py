#!/usr/bin/python3
"""Presses keys through mutter's own remote desktop, which takes them as the person's keyboard:
mutter_keys.py CODE... (evdev codes, pressed in order, released in reverse)."""
import sys

import dbus

MUTTER = "org.gnome.Mutter.RemoteDesktop"


def main():
    bus = dbus.SessionBus()
    remote = dbus.Interface(bus.get_object(MUTTER, "/org/gnome/Mutter/RemoteDesktop"), MUTTER)
    path = remote.CreateSession()
    session = dbus.Interface(bus.get_object(MUTTER, path), MUTTER + ".Session")
    session.Start()
    codes = [int(code) for code in sys.argv[1:]]
    for code, state in [(c, True) for c in codes] + [(c, False) for c in reversed(codes)]:
        session.NotifyKeyboardKeycode(dbus.UInt32(code), state)
    session.Stop()


if __name__ == "__main__":
    sys.exit(main())
