#!/usr/bin/python3
"""Arrows point down only: each room includes itself and what lies below it, and only main.cpp names the Linux layer,
whose parts are given what they need and do not reach for the installed platform. Of the recognizer, which is another
program, the Linux layer knows the protocol alone. The folder of the sources is the only argument."""

import pathlib
import re
import sys

BELOW = {
    "recognizer/protocol": set(),
    "recognizer": {"recognizer/protocol"},
    "platform": set(),
    "platform/linux": {"platform", "recognizer/protocol"},
    "hotkey": {"platform"},
    "speech": {"platform"},
    "translation": {"platform"},
    "insertion": {"platform"},
    "controller": {"hotkey", "speech", "translation", "insertion", "platform"},
    "ui": {"controller", "hotkey", "translation", "platform"},
    "app": {"ui", "controller", "hotkey", "speech", "translation", "insertion", "platform"},
}


def room_of(path):
    for room in ("platform/linux", "recognizer/protocol"):
        if path.startswith(room + "/"):
            return room
    return path.split("/")[0]


# Listens for the events that tell of the toolkit's own tray.
LISTENS_TO_X11 = "app/desktop/XEmbedStatusItem.cpp"


def foreign_words(path, room, text):
    """The X server is spoken to below the seam only, and the environment is left alone once there may be threads."""
    if room != "platform/linux" and path != LISTENS_TO_X11 and "#include <xcb/" in text:
        yield f"{path} speaks to the X server"
    if path != "app/QuilloraApp.cpp" and re.search(r"\b(q?putenv|q?unsetenv|setenv)\(", text):
        yield f"{path} changes the environment"


def main(sources):
    violations = []
    seen = set()
    for file in sorted(sources.rglob("*")):
        if file.suffix not in (".h", ".cpp"):
            continue
        path = str(file.relative_to(sources))
        room = room_of(path)
        seen.add(room)
        for included in re.findall(r'#include "([^"]+)"', file.read_text(encoding="utf-8")):
            if "/" not in included:
                continue
            allowed = BELOW[room] | {room}
            if path == "app/main.cpp":
                allowed = allowed | {"platform/linux"}
            reaches_up = (included == "platform/Platform.h" and room == "platform/linux"
                          and path != "platform/linux/LinuxPlatform.h")
            if room_of(included) not in allowed or reaches_up:
                violations.append(f"{path} includes {included}")
        violations += foreign_words(path, room, file.read_text(encoding="utf-8"))
    for room in set(BELOW) - seen:
        violations.append(f"there is no room {room}: was it moved?")
    print("\n".join(violations) or "every include points down")
    return 1 if violations else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1])))
