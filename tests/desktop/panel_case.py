"""What the tests share that use the real panel with mouse and keys. The path of the program is the first argument of
the test."""

import unittest

from desktop_case import PROGRAM  # first: it finds the others

from dictation import Person
from virtual_desktop import VirtualDesktop, wait_for


class PanelCase(unittest.TestCase):
    """A desktop for each test, with an editor in front and the program in the tray."""

    editor_place = (400, 70, 860, 600)

    def setUp(self):
        self.desktop = self.enterContext(VirtualDesktop())
        self.arrange()
        self.person = Person(self.desktop, PROGRAM)
        self.person.open_editor(place=self.editor_place)
        self.start_quillora()

    def arrange(self):
        """What is there before the program starts."""

    def start_quillora(self):
        self.person.start_quillora()

    def in_panel(self, action):
        self.person.open_panel()
        wait_for("the panel", lambda: self.person.reader.place("Quillora", "Start"))
        self.person.wait_for_panel_in_front()  # what has no focus yet hears no Escape
        action()
        self.person.close_panel()
        self.person.wait_for_panel_end()

    def click(self, name):
        self.person.click_on(name)

    def choose(self, picker, beginning):
        """Another value in the picker that has this one, by how its name begins."""
        self.in_panel(lambda: self.person.pick(picker, beginning))

    def record_hotkey(self, *keys):
        def record():
            self.click("Record hotkey")
            self.person.wait_for_status("Press a shortcut with Ctrl, Option, or Cmd.")
            self.person.wait_for_keyboard("Hotkey recorder")  # it takes it in a later turn
            self.desktop.keys_down(*keys)
            self.desktop.keys_up(*reversed(keys))
            wait_for("the new hotkey", lambda: self.person.status().startswith("Hotkey updated"))
        self.in_panel(record)

    def quit(self):
        self.person.open_panel()
        self.desktop.expect_end(self.person.quillora)
        self.click("Quit")
        self.assertEqual(self.person.quillora.wait(10), 0)

    def enter(self, field, text):
        """In the place of what stands there."""
        self.click(field)
        self.person.wait_for_keyboard(field)
        self.desktop.run(["xdotool", "key", "ctrl+a"])
        self.desktop.run(["xdotool", "type", text])
