"""A GTK 4 password entry in a window titled velko-gtk4-password, for focus detection."""
import gi

gi.require_version("Gtk", "4.0")
from gi.repository import GLib, Gtk  # noqa: E402

GLib.set_prgname("velko-gtk4-password")


def activate(app):
    window = Gtk.ApplicationWindow(application=app, title="velko-gtk4-password")
    window.set_child(Gtk.PasswordEntry())
    window.present()


app = Gtk.Application(application_id="app.velko.Gtk4Password")
app.connect("activate", activate)
app.run(None)
