#!/usr/bin/python3
"""A minimal StatusNotifierItem host, as a panel runs it: it owns the watcher service,
registers itself as a host and prints "item SERVICE" for every item that registers."""
import os

from gi.repository import Gio, GLib

WATCHER = "org.kde.StatusNotifierWatcher"
PATH = "/StatusNotifierWatcher"
# GDBus answers Introspect and Properties.Get from this; Qt reads the watcher's properties.
INTERFACE = Gio.DBusNodeInfo.new_for_xml("""<node><interface name="org.kde.StatusNotifierWatcher">
  <method name="RegisterStatusNotifierItem"><arg name="service" type="s" direction="in"/></method>
  <method name="RegisterStatusNotifierHost"><arg name="service" type="s" direction="in"/></method>
  <property name="RegisteredStatusNotifierItems" type="as" access="read"/>
  <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
  <property name="ProtocolVersion" type="i" access="read"/>
  <signal name="StatusNotifierItemRegistered"><arg type="s"/></signal>
  <signal name="StatusNotifierItemUnregistered"><arg type="s"/></signal>
  <signal name="StatusNotifierHostRegistered"/>
</interface></node>""").interfaces[0]
items = []


def method_call(bus, sender, path, interface, method, parameters, invocation):
    if method == "RegisterStatusNotifierItem":
        # Items may pass a bus name or only an object path on their own connection.
        service = parameters.unpack()[0]
        name = sender if service.startswith("/") else service
        items.append(name)
        print("item", name, flush=True)
        bus.emit_signal(None, PATH, WATCHER, "StatusNotifierItemRegistered", GLib.Variant("(s)", (name,)))
    invocation.return_value(None)


def get_property(bus, sender, path, interface, name):
    return {"RegisteredStatusNotifierItems": GLib.Variant("as", items),
            "IsStatusNotifierHostRegistered": GLib.Variant("b", True),
            "ProtocolVersion": GLib.Variant("i", 0)}[name]


bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)
bus.register_object(PATH, INTERFACE, method_call, get_property, None)
for name in (WATCHER, "org.kde.StatusNotifierHost-%d" % os.getpid()):
    bus.call_sync("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
                  GLib.Variant("(su)", (name, 0)), None, Gio.DBusCallFlags.NONE, -1, None)
bus.emit_signal(None, PATH, WATCHER, "StatusNotifierHostRegistered", None)
print("ready", flush=True)
GLib.MainLoop().run()
