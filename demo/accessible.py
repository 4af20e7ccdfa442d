"""Reads other programs' windows the way a screen reader does. Run as a program, because the accessibility library
binds to the session bus of its process for good: `accessible.py` answers one request a line on its standard input.

    text APPLICATION NAME           the text of the text widget of that name; without a name, of the first one
    length APPLICATION NAME         how many characters stand in the masked text field of that name
    status APPLICATION              what its status line says
    press APPLICATION NAME          presses the button or the tab of that name
    focus APPLICATION NAME          puts the keyboard into the text field of that name
    has_keyboard APPLICATION NAME   whether keys go to the widget of that name
    place APPLICATION NAME          where the middle of the widget of that name is on the screen: left and top
    description APPLICATION NAME    the description of the widget of that name, if that can be seen
    controls APPLICATION WINDOW     roles and names of what can have the keyboard in the window of that name
    shows APPLICATION TEXT          whether something with that name or description can be seen, such as a label
"""

import json
import subprocess
import sys


class ScreenReader:
    """A running `accessible.py` on a desktop."""

    def __init__(self, desktop):
        self._process = desktop.start_daemon([sys.executable, __file__], stdin=subprocess.PIPE,
                                             stdout=subprocess.PIPE)

    def text(self, application, name=None):
        """What stands in a text widget, by its name or the first there is; None if it cannot be read."""
        return self._ask("text", application, name)

    def length(self, application, name):
        """How many characters stand in a masked text field; None if it cannot be read."""
        return self._ask("length", application, name)

    def status(self, application):
        """What its status line says; None if it cannot be read."""
        return self._ask("status", application, None)

    def press(self, application, name):
        """Presses a button or a tab; true if there was one to press."""
        return self._ask("press", application, name)

    def focus(self, application, name):
        """Puts the keyboard into a text field, also a masked one; true if there was one."""
        return self._ask("focus", application, name)

    def has_keyboard(self, application, name):
        """Whether keys go to a widget; None if there is none."""
        return self._ask("has_keyboard", application, name)

    def place(self, application, name):
        """The middle of a widget on the screen, or None if it cannot be seen."""
        return self._ask("place", application, name)

    def description(self, application, name):
        """The description of a widget that can be seen, or None."""
        return self._ask("description", application, name)

    def controls(self, application, window):
        """Role and name of each thing in a window that can be seen and have the keyboard; None without a window."""
        return self._ask("controls", application, window)

    def shows(self, application, text):
        """Whether something with that name or description can be seen; a label's name is its text."""
        return bool(self._ask("shows", application, text))

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


_found = {}


def _find_again(atspi, application, key, matches, read):
    """As `_find`, but first of all the node that it found for that key the last time. A search of all windows takes up
    to a quarter of a second, in which a reader who waits for a text would not see it."""
    def remember(node):
        _found[application, key] = node
        return read(node)

    try:
        node = _found[application, key]
        node.clear_cache()
        return read(node)
    except Exception:  # none yet, or it is gone
        _found.pop((application, key), None)
    return _find(atspi, application, matches, remember)


def _is_showing(atspi, node):
    return node.get_state_set().contains(atspi.StateType.SHOWING)


def _middle(atspi, node):
    box = node.get_component_iface().get_extents(atspi.CoordType.SCREEN)
    return box.x + box.width // 2, box.y + box.height // 2


def _controls(atspi, window):
    found = []
    for node in _walk(window):
        can_have_keyboard = node.get_state_set().contains(atspi.StateType.FOCUSABLE)
        if can_have_keyboard and _is_showing(atspi, node) and node.get_role_name() != "list item":
            found.append((node.get_role_name(), node.get_name()))
    return found


def _press(node):
    return node.get_action_iface().do_action(0)


def _focus(node):
    return node.get_component_iface().grab_focus()


ANSWERS = {
    "text": lambda atspi, application, key: _find_again(
        atspi, application, ("text", key),
        lambda node: node.get_role_name() == "text" and key in (None, node.get_name()), _text_of),
    "length": lambda atspi, application, key: _find(
        atspi, application, lambda node: node.get_role_name() == "password text" and node.get_name() == key,
        lambda node: node.get_text_iface().get_character_count()),
    "status": lambda atspi, application, key: _find_again(
        atspi, application, "status", lambda node: node.get_role_name() == "notification",
        lambda node: node.get_name()),
    "press": lambda atspi, application, key: _find(
        atspi, application, lambda node: node.get_name() == key
        and node.get_role_name() in ("push button", "page tab"), _press),
    "focus": lambda atspi, application, key: _find(
        atspi, application, lambda node: node.get_name() == key and node.get_role_name() in ("text", "password text"),
        _focus),
    "has_keyboard": lambda atspi, application, key: _find(
        atspi, application, lambda node: node.get_name() == key,
        lambda node: node.get_state_set().contains(atspi.StateType.FOCUSED)),
    "place": lambda atspi, application, key: _find(
        atspi, application, lambda node: node.get_name() == key and node.get_role_name() != "list item"
        and _is_showing(atspi, node),
        lambda node: _middle(atspi, node)),
    "description": lambda atspi, application, key: _find(
        atspi, application, lambda node: node.get_name() == key and _is_showing(atspi, node),
        lambda node: node.get_description()),
    "controls": lambda atspi, application, key: _find(
        atspi, application, lambda node: node.get_parent().get_role_name() == "application"
        and node.get_name() == key,
        lambda node: _controls(atspi, node)),
    "shows": lambda atspi, application, key: _find(
        atspi, application, lambda node: key in (node.get_name(), node.get_description())
        and node.get_role_name() != "list item" and _is_showing(atspi, node), lambda _node: True),
}


def main():
    import gi
    gi.require_version("Atspi", "2.0")
    from gi.repository import Atspi
    Atspi.init()
    Atspi.set_timeout(1000, 1000)
    for line in sys.stdin:
        kind, application, key = json.loads(line)
        try:
            answer = ANSWERS[kind](Atspi, application, key)
        except Exception:
            answer = None
        # Whatever is cached may have changed by the next question.
        desktop = Atspi.get_desktop(0)
        desktop.clear_cache()
        print(json.dumps(answer), flush=True)


if __name__ == "__main__":
    main()
