"""Reads other programs' windows the way a screen reader does. Run as a program, because the accessibility library
binds to the session bus of its process for good: `accessible.py` answers one request a line on its standard input.

    text APPLICATION NAME           the text of the text widget of that name; without a name, of the first one
    described APPLICATION TEXT      the name of the widget that is described so
    press APPLICATION NAME          presses the button of that name, as if it were clicked
    focus APPLICATION NAME          puts the keyboard into the text widget of that name
"""

import json
import subprocess
import sys


class ScreenReader:
    """A running `accessible.py` on a desktop."""

    def __init__(self, desktop):
        self._process = desktop.start([sys.executable, __file__], stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def text(self, application, name=None):
        """What stands in a text widget, by its name or the first there is; None if it cannot be read."""
        return self._ask("text", application, name)

    def described(self, application, description):
        """The name of the widget with that description; None if it cannot be read."""
        return self._ask("described", application, description)

    def press(self, application, name):
        """True if there is such a button."""
        return self._ask("press", application, name) or False

    def focus(self, application, name):
        """True if there is such a text widget."""
        return self._ask("focus", application, name) or False

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
    return text.get_text(0, text.get_character_count())


def _find(atspi, application, matches, read):
    desktop = atspi.get_desktop(0)
    for index in range(desktop.get_child_count()):
        program = desktop.get_child_at_index(index)
        if program is None or (program.get_name() or "").lower() != application.lower():
            continue
        for node in _walk(program):
            try:
                if matches(node):
                    return read(node)
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
                answer = _find(Atspi, application, lambda node: node.get_role_name() == "text"
                               and key in (None, node.get_name()), _text_of)
            elif kind == "described":
                answer = _find(Atspi, application, lambda node: node.get_description() == key,
                               lambda node: node.get_name())
            elif kind == "press":
                answer = _find(Atspi, application, lambda node: "button" in node.get_role_name()
                               and node.get_name() == key, lambda node: node.get_action_iface().do_action(0))
            else:
                answer = _find(Atspi, application, lambda node: node.get_role_name() in ("text", "password text")
                               and node.get_name() == key, lambda node: node.get_component_iface().grab_focus())
        except Exception:
            answer = None
        # Whatever is cached may have changed by the next question.
        desktop = Atspi.get_desktop(0)
        desktop.clear_cache()
        print(json.dumps(answer), flush=True)


if __name__ == "__main__":
    main()
