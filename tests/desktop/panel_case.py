"""What the tests share that use the real panel with mouse and keys. The path of the program is the first argument of
the test."""

import unittest

from desktop_case import PROGRAM  # first: it finds the others

from dictation import Person
from virtual_desktop import VirtualDesktop, wait_for


class PanelCase(unittest.TestCase):
    """A desktop for each test, with an editor in front and the program in the tray."""

    def setUp(self):
        self.desktop = self.enterContext(VirtualDesktop())
        self.person = Person(self.desktop, PROGRAM)
        self.person.open_editor(place=(400, 70, 860, 600))
        self.person.start_quillora()

    def in_panel(self, action):
        self.person.open_panel()
        wait_for("the panel", lambda: self.person.reader.place("Quillora", "Start"))
        action()
        self.person.close_panel()
        wait_for("the panel's end", lambda: not self.person.reader.place("Quillora", "Start"))

    def windows(self):
        return self.desktop.run(["xdotool", "search", "--onlyvisible", "--class", "^Quillora$"]).split()

    def click(self, name):
        left, top = wait_for(f"a widget called {name}", lambda: self.person.reader.place("Quillora", name))
        self.desktop.run(["xdotool", "mousemove", str(left), str(top), "click", "1"])

    def choose(self, picker, beginning):
        """Opens a picker by its present value and types the beginning of another."""
        def pick():
            before = self.windows()
            self.click(picker)
            wait_for("the list", lambda: len(self.windows()) > len(before))
            self.desktop.run(["xdotool", "type", "--delay", "30", beginning])
            self.desktop.run(["xdotool", "key", "Return"])
            wait_for(f"{beginning} in the picker", lambda: not self.person.reader.place("Quillora", picker))
        self.in_panel(pick)

    def record_hotkey(self, *keys):
        def record():
            self.click("Record hotkey")
            self.person.wait_for_status("Press a shortcut with Ctrl, Option, or Cmd.")
            # It takes the keyboard in a later turn.
            wait_for("the recorder", lambda: self.person.reader.has_keyboard("Quillora", "Hotkey recorder"))
            self.desktop.keys_down(*keys)
            self.desktop.keys_up(*reversed(keys))
            wait_for("the new hotkey", lambda: self.person.status().startswith("Hotkey updated"))
        self.in_panel(record)

    def enter(self, field, text):
        """In the place of what stands there."""
        self.click(field)
        self.desktop.run(["xdotool", "key", "ctrl+a"])
        self.desktop.run(["xdotool", "type", text])
