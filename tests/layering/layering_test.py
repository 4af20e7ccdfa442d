#!/usr/bin/python3
"""Arrows point down only: each room includes itself and what lies below it, and only main.cpp names the Linux layer,
whose parts are given what they need and do not reach for the installed platform. Of the recognizer, which is another
program, the Linux layer knows the protocol alone; its engines reach the model store through the seam, and
LinuxPlatform.cpp alone makes it. What speaks to the desktop, to engines or to the system is included in the rooms that it
is named for. The backend is a program of its own, without the toolkit and all else of ours. The folders of the sources
and of the backend are the arguments."""

import os
import pathlib
import re
import sys

BELOW = {
    "headers.h": set(),  # which the build reads first: nothing of ours
    "headers.cpp": set(),
    "recognizer/protocol": set(),
    "recognizer": {"recognizer/protocol"},
    "platform": set(),
    "platform/linux": {"platform", "recognizer/protocol"},
    "platform/linux/models": {"platform", "platform/linux"},
    "models": {"platform"},
    "hotkey": {"platform"},
    "speech": {"platform"},
    "translation": {"platform"},
    "insertion": {"platform"},
    "controller": {"hotkey", "speech", "translation", "insertion", "platform"},
    "ui": {"controller", "models", "hotkey", "translation", "platform"},
    "app": {"ui", "controller", "models", "hotkey", "speech", "translation", "insertion", "platform"},
}

# Folders within rooms, which share what lies below those.
PARTS = {
    "recognizer": {"pocketsphinx", "sherpa"},
    "platform/linux": {
        "appearance", "autostart", "http", "instance", "keyring", "locale", "notifications", "plain", "recognition",
        "routing", "settings", "sound", "translation", "translation/apertium", "translation/neural",
        "translation/neural/kernels", "tray", "webpages", "x11"},
}
FOLDERS = {room for room in BELOW if "." not in room} | {f"{room}/{part}" for room in PARTS for part in PARTS[room]}

# Whose headers (by their beginning) are included where alone (by the beginning of the path).
FOREIGN = {
    "D-Bus": (r"(QtDBus/)?QDBus|QtDBus$|dbus/", ["platform/linux/"]),
    "GLib": (r"gio/|glib|gobject/|libsecret/", ["platform/linux/"]),
    "the X server": (r"xcb/|X11/|xkbcommon/|qpa/", [
        "platform/linux/x11/",
        "platform/linux/X11",  # what x11/ and tray/ share
        "platform/linux/tray/XEmbed",
    ]),
    # It asks the bus once whether there is a tray, waits for the answer, and keeps to that for the rest of the run.
    "the toolkit's own tray icon": (r"QSystemTrayIcon", []),
    "archives": (r"archive(_entry)?\.h", ["platform/linux/models/"]),
    "the sound server": (r"pulse/|pipewire/|spa/", ["platform/linux/sound/"]),
    "the proxies' library": (r"proxy\.h", ["platform/linux/http/"]),
    "ICU": (r"unicode/", ["platform/linux/"]),
    "an engine of recognition": (r"pocketsphinx|sphinxbase/|sherpa|onnx", ["recognizer/pocketsphinx/"]),
    "an engine of translation": (r"sentencepiece|lttoolbox/|apertium", ["platform/linux/translation/"]),
    "the system's filter of calls": (r"seccomp\.h|linux/(seccomp|landlock|filter)\.h", ["recognizer/"]),
}

# The same of the backend.
FOREIGN_OF_BACKEND = {
    "the database": (r"hiredis/", ["backend/RedisConnection."]),
    "who measures": (r"prometheus/", ["backend/Metrics."]),
    "the settings' format": (r"toml", ["backend/Configuration."]),
    "HTTP": (r"boost/beast/", ["backend/Inflow.", "backend/Server.", "backend/Stream.", "backend/Upstream."]),
    "TLS": (r"openssl/|boost/asio/ssl", ["backend/Check.", "backend/Randomness.", "backend/Server.", "backend/Stream.",
                                         "backend/Upstream."]),
}

# These two stand without the toolkit.
WITHOUT_TOOLKIT = ("recognizer/", "platform/linux/translation/neural/")
TOOLKIT = r"Q[A-Z]|Qt|qt|q[a-z]+\.h$"

SOURCES = {".h", ".hh", ".hpp", ".hxx", ".inc", ".ipp", ".tpp",
           ".c", ".cc", ".cpp", ".cxx", ".cppm", ".ixx", ".m", ".mm"}
OTHERS = {".txt", ".json"}


def room_of(path):
    for room in sorted(BELOW, key=len, reverse=True):
        if path.startswith(room + "/"):
            return room
    return path.split("/")[0]


def without_comments(text):
    """What the preprocessor sees: lines joined, comments gone, and nothing in the texts that span lines."""
    text = re.sub(r"\\[ \t]*\r?\n", "", text)
    parts = r'R"([^()\s\\]*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'|//[^\n]*|/\*.*?\*/'
    return re.sub(parts, lambda part: part[0] if part[0][0] in "\"'" else " ", text, flags=re.S)


NAME = r'(<[^>\n]*>|"[^"\n]*"|[^\s<"][^\n]*)'
DIRECTIVE = re.compile(rf"^[ \t]*(?:#|%:)[ \t]*(?:include|include_next|import|embed)\b[ \t]*{NAME}", re.M)
QUESTION = re.compile(rf"__has_(?:include|include_next|embed)[ \t]*\([ \t]*{NAME}")
MODULE = re.compile(r"^[ \t]*(?:export[ \t]+)?import[ \t]+([<\"]?[\w:./]+[>\"]?)[ \t]*;", re.M)


def includes(text):
    """All that the text includes, asks for or imports, as it is written."""
    text = without_comments(text)
    return [match.strip() for form in (DIRECTIVE, QUESTION, MODULE) for match in form.findall(text)]


def within(sources, file, name):
    """Where among the sources that stands; null for what is not of ours."""
    for place in (file.parent / name, sources / name):
        path = pathlib.Path(os.path.normpath(place))
        if path.is_relative_to(sources) and path.exists():
            return path.relative_to(sources).as_posix()
    # The room tells, even of a file that is not there.
    return name if "/" in name and room_of(name) in BELOW else None


def complaints_about(sources, file):
    path = file.relative_to(sources).as_posix()
    room = room_of(path)
    if room not in BELOW or "/" in path and os.path.dirname(path) not in FOLDERS:
        yield (f"{path} stands in a room that is not in the table: "
               f"say in {pathlib.Path(__file__).name} what lies below it")
        return
    allowed = BELOW[room] | {room}
    if path == "app/main.cpp":
        allowed = allowed | {"platform/linux"}
    if path == "platform/linux/LinuxPlatform.cpp":
        allowed = allowed | {"platform/linux/models"}
    text = file.read_text(encoding="utf-8")
    for written in includes(text):
        if written[0] not in "<\"":
            yield f"{path} includes {written}, which is no file: name the header itself"
            continue
        name = written[1:-1].strip()
        included = within(sources, file, name)
        if included is not None:
            reaches_up = (included == "platform/Platform.h" and room.startswith("platform/linux")
                          and path != "platform/linux/LinuxPlatform.h")
            if room_of(included) not in allowed or reaches_up:
                yield f"{path} includes {included}"
            continue
        yield from foreign_complaints(path, name, FOREIGN)
        if path.startswith(WITHOUT_TOOLKIT) and re.match(TOOLKIT, name):
            yield f"{path} includes {name}: this room stands without the toolkit"
    # The environment is left alone once there may be threads.
    if path != "platform/linux/instance/LaunchEnvironment.cpp" and re.search(r"\b(q?putenv|q?unsetenv|setenv)\(", text):
        yield f"{path} changes the environment"


def foreign_complaints(path, name, foreign):
    for whose, (headers, places) in foreign.items():
        if re.match(headers, name) and not path.startswith(tuple(places)):
            who = f"only {', '.join(places)}" if places else "nothing"
            yield f"{path} includes {name}: {who} may speak to {whose}"


def violations_of_backend(backend):
    backend = pathlib.Path(os.path.abspath(backend))
    for file in sorted(file for file in backend.rglob("*") if file.suffix in SOURCES):
        path = f"backend/{file.relative_to(backend).as_posix()}"
        for written in includes(file.read_text(encoding="utf-8")):
            name = written[1:-1].strip()
            if re.match(TOOLKIT, name):
                yield f"{path} includes {name}: the backend stands without the toolkit"
            elif name.split("/")[0] in FOLDERS or (backend.parent / "src" / name).exists():
                yield f"{path} includes {name}, which is the program's"
            yield from foreign_complaints(path, name, FOREIGN_OF_BACKEND)


def violations(sources):
    sources = pathlib.Path(os.path.abspath(sources))
    files = sorted(file for file in sources.rglob("*") if file.is_file())
    seen = set()
    for file in files:
        if file.suffix in SOURCES:
            seen.add(room_of(file.relative_to(sources).as_posix()))
            yield from complaints_about(sources, file)
        elif file.suffix not in OTHERS:
            yield f"{file.relative_to(sources).as_posix()}: is this a source? Say so in {pathlib.Path(__file__).name}"
    for room in sorted(set(BELOW) - seen):
        yield f"there is no room {room}: was it moved?"
    for folder in sorted(FOLDERS - {file.parent.relative_to(sources).as_posix() for file in files} - set(BELOW)):
        yield f"there is no folder {folder}: was it moved?"


def main(sources, backend):
    found = list(violations(sources)) + list(violations_of_backend(backend))
    print("\n".join(found) or "every include points down")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
