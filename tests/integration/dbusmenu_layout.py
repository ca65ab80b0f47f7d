#!/usr/bin/python3
"""dbusmenu_layout.py SERVICE PATH: the top-level entries of a com.canonical.dbusmenu menu, one a
line: ID<TAB>"---" for a separator, else the label, then " [disabled]" when it is not enabled and
" <Mod+Key>" for a shortcut."""
import sys

from gi.repository import Gio, GLib

bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)
reply = bus.call_sync(sys.argv[1], sys.argv[2], "com.canonical.dbusmenu", "GetLayout",
                      GLib.Variant("(iias)", (0, -1, [])), GLib.VariantType("(u(ia{sv}av))"),
                      Gio.DBusCallFlags.NONE, -1, None)
for entry, properties, _ in reply.unpack()[1][2]:
    if properties.get("type") == "separator":
        text = "---"
    else:
        text = properties.get("label", "")
        if not properties.get("enabled", True):
            text += " [disabled]"
        for keys in properties.get("shortcut", []):
            text += " <" + "+".join(keys) + ">"
    print("%s\t%s" % (entry, text))
