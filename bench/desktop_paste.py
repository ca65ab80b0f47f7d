#!/usr/bin/python3
"""Paste requests sent as the main application sends them, each timed from the signal to the V
press that a focused wev logs, whose modifiers are checked against the request's:
desktop_paste.py WEV-LOG COUNT ALT (the name the desktop's keymap gives Alt in wev's log).
Run through bench/run-desktop-paste-bench."""
import re
import sys
import time

import dbus


def main():
    log, count, alt = sys.argv[1], int(sys.argv[2]), sys.argv[3]
    requests = [("velko.paste.now", "Control"), ("velko.paste.plain", "Shift Control " + alt),
                ("velko.paste.match", "Shift Control")]
    bus = dbus.SessionBus()
    seen, times, right, mods, pending, wrong = set(), [], 0, "", "", []
    with open(log) as wev:
        wev.seek(0, 2)
        for i in range(count):
            name, wanted = requests[i % 3]
            sent = time.monotonic()
            message = dbus.lowlevel.SignalMessage("/app/velko/Notifications", "app.velko.Notifications", "Posted")
            message.append(name, "")
            bus.send_message(message)
            bus.flush()
            press = None
            while press is None and time.monotonic() - sent < 2:
                chunk = wev.read()
                if not chunk:
                    time.sleep(0.0005)
                    continue
                pending += chunk
                *lines, pending = pending.split("\n")
                for line in lines:
                    depressed = re.search(r"depressed: \w+:? ?(.*)", line)
                    if depressed:
                        mods = depressed.group(1).strip()
                    found = re.search(r"serial: (\d+);.*key: 55; state: 1", line)
                    if found and found.group(1) not in seen and press is None:
                        seen.add(found.group(1))
                        press = (time.monotonic(), mods)
            if press is not None:
                times.append((press[0] - sent) * 1000)
                right += press[1] == wanted
                if press[1] != wanted:
                    wrong.append("%d %s: %s" % (i, name, press[1]))
            else:
                wrong.append("%d %s: no V" % (i, name))
            # One request per rate-limit period, with room for a loaded machine.
            time.sleep(max(0, 0.3 - (time.monotonic() - sent)))
        time.sleep(0.5)
        for line in (pending + wev.read()).split("\n"):
            depressed = re.search(r"depressed: \w+:? ?(.*)", line)
            if depressed:
                mods = depressed.group(1).strip()
    times.sort()
    pick = lambda p: times[min(len(times) - 1, int(p * (len(times) - 1) + 0.5))] if times else 0
    print("V presses with the intended modifiers %d/%d; keys left down %s; request -> V at the window: "
          "p50 %.1f ms, p99 %.1f ms" % (right, count, mods or "0", pick(0.5), pick(0.99)))
    for line in wrong:
        print("  request " + line)


if __name__ == "__main__":
    sys.exit(main())
