#!/usr/bin/python3
"""Answers a desktop's dialog as a person would, over the accessibility bus: waits for each named
control in turn (matched by its accessible name, case-insensitive, among controls that have an
action) and activates it. Prints the names of the controls it saw, so that a test can read what the
dialog said.

usage: answer_dialog.py SECONDS NAME...
"""
import sys
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402


def controls(node, depth=0):
    if node is None or depth > 30:
        return
    try:
        name = (node.get_name() or "").strip()
        action = node.get_action_iface()
        if name and action is not None and action.get_n_actions() > 0:
            yield name, action, node.get_role_name()
        for i in range(node.get_child_count()):
            yield from controls(node.get_child_at_index(i), depth + 1)
    except gi.repository.GLib.Error:
        return


def main():
    deadline = time.monotonic() + float(sys.argv[1])
    for wanted in sys.argv[2:]:
        seen = set()
        while True:
            desktop = Atspi.get_desktop(0)
            found = None
            for i in range(desktop.get_child_count()):
                for name, action, role in controls(desktop.get_child_at_index(i)):
                    seen.add(name)
                    # GTK 4 gives labels actions too (copy, select): a button's own label is no control.
                    if name.lower() == wanted.lower() and role != "label":
                        found = action
                        break
                if found:
                    break
            if found:
                found.do_action(0)
                print("answered %r among: %s" % (wanted, " | ".join(sorted(seen))), flush=True)
                time.sleep(0.3)
                break
            if time.monotonic() > deadline:
                print("no control named %r; saw: %s" % (wanted, ", ".join(sorted(seen))), flush=True)
                return 1
            time.sleep(0.3)
    return 0


if __name__ == "__main__":
    sys.exit(main())
