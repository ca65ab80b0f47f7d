#!/usr/bin/env python3
"""Reads `dbus-send --print-reply ... com.canonical.dbusmenu.GetLayout` output on stdin and prints
the top-level entries, one a line: ID<TAB>"---" for a separator, else the label, then " [disabled]"
when it is not enabled and " <Mod+Key>" for a shortcut."""
import re
import sys

items = []
item = None
key = None
expect_key = False
for raw in sys.stdin:
    line = raw.strip()
    if re.match(r"variant\s+struct \{$", line):
        item = {"id": None, "shortcut": []}
        items.append(item)
        continue
    if item is None:
        continue
    if item["id"] is None:
        match = re.match(r"int32 (-?\d+)$", line)
        if match:
            item["id"] = int(match.group(1))
        continue
    if line == "dict entry(":
        expect_key = True
        continue
    if line == ")":
        key = None
        continue
    string = re.match(r'string "(.*)"$', line)
    if expect_key and string:
        key, expect_key = string.group(1), False
        continue
    if key == "shortcut":
        if string:
            item["shortcut"].append(string.group(1))
        continue
    value = re.match(r"variant\s+\w+\s+(.*)$", line)
    if key and value:
        item[key] = value.group(1).strip('"')

for item in items:
    if item.get("type") == "separator":
        text = "---"
    else:
        text = item.get("label", "")
        if item.get("enabled") == "false":
            text += " [disabled]"
        if item["shortcut"]:
            text += " <" + "+".join(item["shortcut"]) + ">"
    print("%s\t%s" % (item["id"], text))
