"""Reads other programs' windows the way a screen reader does. Run as a program, because the accessibility library
binds to the session bus of its process for good: `accessible.py` answers one request a line on its standard input.

    text APPLICATION NAME   the text of the named widget
    any APPLICATION ROLE    the text of the first widget of that role
"""

import json
import subprocess
import sys


class ScreenReader:
    """A running `accessible.py` on a desktop."""

    def __init__(self, desktop):
        self._process = desktop.start([sys.executable, __file__], stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def text(self, application, name):
        """The text of a widget by its accessible name; None if it cannot be read."""
        return self._ask("text", application, name)

    def first_of_role(self, application, role):
        return self._ask("any", application, role)

    def _ask(self, *request):
        self._process.stdin.write(json.dumps(request).encode() + b"\n")
        self._process.stdin.flush()
        return json.loads(self._process.stdout.readline() or b"null")


def _walk(node, depth=0):
    if node is None or depth > 25:
        return
    yield node
    try:
        count = min(node.get_child_count(), 200)
    except Exception:  # the program went away between two questions
        return
    for index in range(count):
        try:
            child = node.get_child_at_index(index)
        except Exception:
            continue
        yield from _walk(child, depth + 1)


def _text_of(node):
    text = node.get_text_iface()
    if text is not None:
        return text.get_text(0, text.get_character_count())
    return node.get_name()


def _find(atspi, application, matches):
    desktop = atspi.get_desktop(0)
    for index in range(desktop.get_child_count()):
        program = desktop.get_child_at_index(index)
        if program is None or (program.get_name() or "").lower() != application.lower():
            continue
        for node in _walk(program):
            try:
                if matches(node):
                    return _text_of(node)
            except Exception:
                continue
    return None


def main():
    import gi
    gi.require_version("Atspi", "2.0")
    from gi.repository import Atspi
    Atspi.init()
    Atspi.set_timeout(1000, 1000)
    for line in sys.stdin:
        kind, application, key = json.loads(line)
        try:
            if kind == "text":
                answer = _find(Atspi, application, lambda node: node.get_name() == key)
            else:
                answer = _find(Atspi, application, lambda node: node.get_role_name() == key)
        except Exception:
            answer = None
        # Whatever is cached may have changed by the next question.
        desktop = Atspi.get_desktop(0)
        desktop.clear_cache()
        print(json.dumps(answer), flush=True)


if __name__ == "__main__":
    main()
