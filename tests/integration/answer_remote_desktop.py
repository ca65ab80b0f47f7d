#!/usr/bin/python3
"""Answers GNOME's "Remote desktop" portal dialog over the accessibility bus as a person would:
turns on "Allow remote interaction" and presses Share. Waits up to 20 s for the dialog; with
--dump, prints the accessible tree seen when it gives up."""
import sys
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402


def walk(node, depth=0):
    yield node, depth
    for i in range(node.get_child_count()):
        child = node.get_child_at_index(i)
        if child is not None:
            yield from walk(child, depth + 1)


def act(node):
    action = node.get_action_iface()
    if action is None or action.get_n_actions() == 0:
        return False
    return action.do_action(0)


def main():
    deadline = time.monotonic() + 20
    toggled = False
    while time.monotonic() < deadline:
        desktop = Atspi.get_desktop(0)
        found = {}
        for node, _ in walk(desktop):
            name = (node.get_name() or "").lower()
            role = node.get_role_name()
            if "remote interaction" in name and role in ("toggle button", "check box", "switch"):
                found["toggle"] = node
            elif "share" in name.replace("_", "").split() and role == "push button":
                found["share"] = node
        if "toggle" in found and "share" in found:
            if not toggled:
                toggled = act(found["toggle"])
                time.sleep(0.2)
                continue
            if act(found["share"]):
                return 0
        time.sleep(0.2)
    if "--dump" in sys.argv:
        for node, depth in walk(Atspi.get_desktop(0)):
            print("  " * depth + "%s: %s" % (node.get_role_name(), node.get_name()))
    return "answer_remote_desktop: no remote desktop dialog to answer"


if __name__ == "__main__":
    sys.exit(main())
