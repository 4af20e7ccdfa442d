#!/usr/bin/python3
"""What somebody does who has never configured anything: with mouse and keys, on the real panel. The path of the
program is the first argument."""

import os
import sys
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "demo"))

from dictation import HOTKEY, Person, recordings  # noqa: E402
from virtual_desktop import VirtualDesktop, wait_for  # noqa: E402

PROGRAM = os.path.abspath(sys.argv.pop(1)) if len(sys.argv) > 1 else ""


class NewUserTest(unittest.TestCase):
    def setUp(self):
        self.desktop = VirtualDesktop()
        self.desktop.__enter__()
        self.addCleanup(self.desktop.__exit__)
        self.person = Person(self.desktop, PROGRAM)
        self.person.open_editor(place=(400, 70, 860, 600))
        self.person.start_quillora()

    def test_the_first_quarter_of_an_hour(self):
        self.choose("🇷🇺 Russian", "Spanish")
        self.dictate(HOTKEY)
        self.assertEqual(self.person.status(), "Inserted translation.")

        self.record_hotkey("super", "k")
        self.assertEqual(self.person.status(), "Hotkey updated to Cmd K.")
        self.dictate(("super", "k"))
        self.assertEqual(self.person.status(), "Inserted translation.")

        self.in_panel(lambda: self.click("Reset hotkey"))
        self.wait_for_status("Hotkey updated to Ctrl Option Space.")

        self.choose("Apple Local", "OpenAI")
        self.in_panel(self.enter_wrong_endpoint)
        self.speak(HOTKEY)
        wait_for("the failure", lambda: self.person.status().startswith("Translation failed: "))
        self.assertIn("127.0.0.1", self.person.status())
        self.assertTrue(self.person.status().endswith("."), self.person.status())

        self.choose("OpenAI Natural", "Apple")
        self.dictate(HOTKEY)
        self.assertEqual(self.person.status(), "Inserted translation.")

    # What it takes

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
            self.wait_for_status("Press a shortcut with Ctrl, Option, or Cmd.")
            # It takes the keyboard in a later turn.
            wait_for("the recorder", lambda: self.person.reader.has_keyboard("Quillora", "Hotkey recorder"))
            self.desktop.keys_down(*keys)
            self.desktop.keys_up(*reversed(keys))
            wait_for("the new hotkey", lambda: self.person.status().startswith("Hotkey updated"))
        self.in_panel(record)

    def enter_wrong_endpoint(self):
        self.click("Backend URL")
        self.desktop.run(["xdotool", "key", "ctrl+a"])
        self.desktop.run(["xdotool", "type", "http://127.0.0.1:9/v1/translate"])

    def speak(self, keys):
        self.person.focus_editor()
        self.desktop.keys_down(*keys)
        self.wait_for_status("Listening...")
        self.desktop.play(recordings()[4].path)
        time.sleep(0.25)
        self.desktop.keys_up(*reversed(keys))

    def dictate(self, keys):
        before = self.person.editor_text()
        self.speak(keys)
        wait_for(f"the text (the status is {self.person.status()!r})", lambda: self.person.editor_text() != before)
        # The paste is over once the clipboard is as empty as before.
        wait_for("the clipboard's emptiness", lambda: not self.desktop.clipboard("TARGETS"))

    def wait_for_status(self, status):
        wait_for(f"the status {status!r} (it is {self.person.status()!r})", lambda: self.person.status() == status)


if __name__ == "__main__":
    unittest.main(verbosity=2)
