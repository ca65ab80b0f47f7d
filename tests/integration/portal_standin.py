#!/usr/bin/python3
"""A stand-in for the desktop portal (org.freedesktop.portal.Desktop) on a private bus: the
RemoteDesktop and GlobalShortcuts calls with their Request objects, Response signals and
Session objects, as xdg-desktop-portal answers them once a person has clicked the dialog.

It prints "ready" once it owns the name, then one line for everything a client asks:
  create_session PATH | select_devices types=U persist_mode=U restore_token=S
  start PATH | restore_token S | key CODE STATE | bind_shortcuts ID,... | list_shortcuts
  key_overlap (a key call came before the one under way was answered)
  response TOKEN CODE | request_closed PATH | session_closed PATH (by its client)
  register APP_ID (the host registry, which real portals take only before a connection's first call)

Tests steer it through app.velko.PortalStandIn on /control (or --mode at start):
  SetMode(s): approve (default), deny (the person declines the dialog), silent (the dialog
  is never answered), ended (shortcuts bound with response 2, as portal-gnome 48.0 does); CloseSessions(): revokes every session; Activate(s id) and
  Deactivate(s id): a bound global shortcut is pressed or released; ChangeTrigger(s id,
  s trigger): the person gives a bound shortcut other keys (ShortcutsChanged); RefuseKey(u n): the
  n-th key call from now on is refused; Tokenless(): Start gives no restore token, as RemoteDesktop
  version 1 does. Key calls are answered 5 ms late, as the real portal's
  threads may take that long.
"""
import argparse
import sys
import time

import dbus
import dbus.service
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

NAME = "org.freedesktop.portal.Desktop"
PATH = "/org/freedesktop/portal/desktop"
REMOTE_DESKTOP = "org.freedesktop.portal.RemoteDesktop"
SHORTCUTS = "org.freedesktop.portal.GlobalShortcuts"
REQUEST = "org.freedesktop.portal.Request"
SESSION = "org.freedesktop.portal.Session"
CONTROL = "app.velko.PortalStandIn"
KEYBOARD, POINTER = 1, 2


def say(*words):
    print(*words, flush=True)


def path_for(kind, sender, token):
    # The documented prediction: the unique name without ':' and with '.' as '_'.
    return "%s/%s/%s/%s" % (PATH, kind, sender[1:].replace(".", "_"), token)


class Request(dbus.service.Object):
    def __init__(self, bus, path):
        super().__init__(bus, path)
        self.path = path
        self.live = True

    def finish(self):
        if self.live:
            self.live = False
            self.remove_from_connection()

    def answer(self, code, results):
        # Answered from the loop, after the call has returned its handle, as real portals do.
        def emit():
            if self.live:
                say("response", self.path.rsplit("/", 1)[1], code)
                self.Response(dbus.UInt32(code), dbus.Dictionary(results, signature="sv"))
                self.finish()
            return False
        GLib.idle_add(emit)

    @dbus.service.method(REQUEST, in_signature="", out_signature="")
    def Close(self):
        say("request_closed", self.path)
        self.finish()

    @dbus.service.signal(REQUEST, signature="ua{sv}")
    def Response(self, response, results):
        pass


class Session(dbus.service.Object):
    def __init__(self, portal, path, owner, kind):
        super().__init__(portal.connection, path)
        self.portal, self.path, self.owner, self.kind = portal, path, owner, kind
        self.started = False
        self.shortcuts = []

    def end(self):
        if self.portal.sessions.pop(self.path, None):
            self.remove_from_connection()

    @dbus.service.method(SESSION, in_signature="", out_signature="")
    def Close(self):
        say("session_closed", self.path)
        self.end()

    @dbus.service.signal(SESSION, signature="a{sv}")
    def Closed(self, details):
        pass


class GlobalShortcuts(dbus.service.Object):
    """Kept in a base class: dbus-python finds a method by its Python name, and CreateSession
    exists on both interfaces."""

    @dbus.service.method(SHORTCUTS, in_signature="a{sv}", out_signature="o", sender_keyword="sender")
    def CreateSession(self, options, sender=None):
        return self.create_session(options, sender, "shortcuts")

    @dbus.service.method(SHORTCUTS, in_signature="oa(sa{sv})sa{sv}", out_signature="o", sender_keyword="sender")
    def BindShortcuts(self, session, shortcuts, parent_window, options, sender=None):
        found = self.session(session, sender, "shortcuts")
        say("bind_shortcuts", ",".join(str(s[0]) for s in shortcuts))
        request = self.request(options, sender)
        if self.mode == "deny":
            request.answer(1, {})
        elif self.mode in ("approve", "ended"):
            found.shortcuts = [(str(i), {"description": str(o.get("description", "")),
                                         "trigger_description": str(o.get("preferred_trigger", ""))})
                               for i, o in shortcuts]
            request.answer(2 if self.mode == "ended" else 0, {"shortcuts": self.described(found)})
        return request.path

    @dbus.service.method(SHORTCUTS, in_signature="oa{sv}", out_signature="o", sender_keyword="sender")
    def ListShortcuts(self, session, options, sender=None):
        found = self.session(session, sender, "shortcuts")
        say("list_shortcuts")
        request = self.request(options, sender)
        request.answer(0, {"shortcuts": self.described(found)})
        return request.path

    @dbus.service.signal(SHORTCUTS, signature="osta{sv}")
    def Activated(self, session_handle, shortcut_id, timestamp, options):
        pass

    @dbus.service.signal(SHORTCUTS, signature="osta{sv}")
    def Deactivated(self, session_handle, shortcut_id, timestamp, options):
        pass

    @dbus.service.signal(SHORTCUTS, signature="oa(sa{sv})")
    def ShortcutsChanged(self, session_handle, shortcuts):
        pass

    def change_trigger(self, shortcut_id, trigger):
        for session in list(self.sessions.values()):
            if session.kind == "shortcuts" and any(i == shortcut_id for i, _ in session.shortcuts):
                for i, o in session.shortcuts:
                    if i == shortcut_id:
                        o["trigger_description"] = trigger
                self.ShortcutsChanged(dbus.ObjectPath(session.path), self.described(session))

    @staticmethod
    def described(session):
        return dbus.Array([dbus.Struct((i, dbus.Dictionary(o, signature="sv"))) for i, o in session.shortcuts],
                          signature="(sa{sv})")

    def press(self, shortcut_id, down):
        for session in list(self.sessions.values()):
            if session.kind == "shortcuts" and any(i == shortcut_id for i, _ in session.shortcuts):
                signal = self.Activated if down else self.Deactivated
                signal(dbus.ObjectPath(session.path), shortcut_id, dbus.UInt64(int(time.monotonic() * 1000)),
                       dbus.Dictionary({}, signature="sv"))


class Registry(GlobalShortcuts):
    @dbus.service.method("org.freedesktop.host.portal.Registry", in_signature="sa{sv}", sender_keyword="sender")
    def Register(self, app_id, options, sender=None):
        say("register", app_id)


class Portal(Registry):
    def __init__(self, bus, mode):
        super().__init__(bus, PATH)
        self.bus, self.mode = bus, mode
        self.sessions = {}
        self.issued = 0
        self.keys_pending = 0
        self.tokenless = False
        self.refuse_key = 0

    def request(self, options, sender):
        return Request(self.bus, path_for("request", sender, str(options.get("handle_token", "t%d" % id(options)))))

    def create_session(self, options, sender, kind):
        path = path_for("session", sender, str(options.get("session_handle_token", "s%d" % len(self.sessions))))
        self.sessions[path] = Session(self, path, sender, kind)
        say("create_session", path)
        request = self.request(options, sender)
        # Portals have always sent the handle as a string, whatever the documentation says.
        request.answer(0, {"session_handle": dbus.String(path)})
        return request.path

    def session(self, path, sender, kind):
        found = self.sessions.get(str(path))
        if found is None or found.owner != sender or found.kind != kind:
            raise dbus.exceptions.DBusException("no such session", name="org.freedesktop.DBus.Error.AccessDenied")
        return found

    @dbus.service.method(REMOTE_DESKTOP, in_signature="a{sv}", out_signature="o", sender_keyword="sender")
    def CreateSession(self, options, sender=None):
        return self.create_session(options, sender, "remote_desktop")

    @dbus.service.method(REMOTE_DESKTOP, in_signature="oa{sv}", out_signature="o", sender_keyword="sender")
    def SelectDevices(self, session, options, sender=None):
        found = self.session(session, sender, "remote_desktop")
        found.types = int(options.get("types", KEYBOARD | POINTER))
        say("select_devices", "types=%d" % found.types, "persist_mode=%d" % int(options.get("persist_mode", 0)),
            "restore_token=%s" % options.get("restore_token", ""))
        request = self.request(options, sender)
        request.answer(0, {})
        return request.path

    @dbus.service.method(REMOTE_DESKTOP, in_signature="osa{sv}", out_signature="o", sender_keyword="sender")
    def Start(self, session, parent_window, options, sender=None):
        found = self.session(session, sender, "remote_desktop")
        say("start", found.path)
        request = self.request(options, sender)
        if self.mode == "deny":
            request.answer(1, {})
        elif self.mode == "approve":
            found.started = True
            self.issued += 1
            results = {"devices": dbus.UInt32(found.types)}
            if not self.tokenless:
                results["restore_token"] = "token-%d" % self.issued
                say("restore_token", results["restore_token"])
            request.answer(0, results)
        return request.path

    @dbus.service.method(REMOTE_DESKTOP, in_signature="oa{sv}iu", out_signature="", sender_keyword="sender",
                         async_callbacks=("done", "failed"))
    def NotifyKeyboardKeycode(self, session, options, keycode, state, sender=None, done=None, failed=None):
        found = self.session(session, sender, "remote_desktop")
        if not found.started or not found.types & KEYBOARD:
            raise dbus.exceptions.DBusException("no keyboard granted", name="org.freedesktop.DBus.Error.AccessDenied")
        if self.keys_pending:
            say("key_overlap")
        if self.refuse_key:
            self.refuse_key -= 1
            if not self.refuse_key:
                say("key_refused", int(keycode), int(state))
                raise dbus.exceptions.DBusException("key refused", name="org.freedesktop.DBus.Error.Failed")
        say("key", int(keycode), int(state))
        self.keys_pending += 1

        def answer():
            self.keys_pending -= 1
            done()
            return False
        GLib.timeout_add(5, answer)

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="ss", out_signature="v")
    def Get(self, interface, name):
        properties = {REMOTE_DESKTOP: {"AvailableDeviceTypes": dbus.UInt32(KEYBOARD | POINTER),
                                       "version": dbus.UInt32(2)},
                      SHORTCUTS: {"version": dbus.UInt32(1)}}
        try:
            return properties[interface][name]
        except KeyError:
            raise dbus.exceptions.DBusException("no property %s.%s" % (interface, name),
                                                name="org.freedesktop.DBus.Error.InvalidArgs")


class Control(dbus.service.Object):
    def __init__(self, bus, portal):
        super().__init__(bus, "/control")
        self.portal = portal

    @dbus.service.method(CONTROL, in_signature="s", out_signature="")
    def SetMode(self, mode):
        self.portal.mode = str(mode)

    @dbus.service.method(CONTROL, in_signature="", out_signature="")
    def CloseSessions(self):
        for session in list(self.portal.sessions.values()):
            session.Closed(dbus.Dictionary({}, signature="sv"))
            session.end()

    @dbus.service.method(CONTROL, in_signature="", out_signature="")
    def Tokenless(self):
        self.portal.tokenless = True

    @dbus.service.method(CONTROL, in_signature="u", out_signature="")
    def RefuseKey(self, n):
        self.portal.refuse_key = int(n)

    @dbus.service.method(CONTROL, in_signature="s", out_signature="")
    def Activate(self, shortcut_id):
        self.portal.press(str(shortcut_id), True)

    @dbus.service.method(CONTROL, in_signature="s", out_signature="")
    def Deactivate(self, shortcut_id):
        self.portal.press(str(shortcut_id), False)

    @dbus.service.method(CONTROL, in_signature="ss", out_signature="")
    def ChangeTrigger(self, shortcut_id, trigger):
        self.portal.change_trigger(str(shortcut_id), str(trigger))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--mode", choices=["approve", "deny", "silent", "ended"], default="approve")
    mode = parser.parse_args().mode
    DBusGMainLoop(set_as_default=True)
    bus = dbus.SessionBus()
    portal = Portal(bus, mode)
    control = Control(bus, portal)
    name = dbus.service.BusName(NAME, bus, do_not_queue=True)
    say("ready")
    GLib.MainLoop().run()
    del control, name


if __name__ == "__main__":
    sys.exit(main())
