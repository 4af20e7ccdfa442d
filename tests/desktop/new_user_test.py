#!/usr/bin/python3
"""What somebody does who has never configured anything: with mouse and keys, on the real panel. The path of the
program is the first argument."""

import unittest

from panel_case import PanelCase  # first: it finds the others

from dictation import HOTKEY, recordings
from virtual_desktop import wait_for


class NewUserTest(PanelCase):
    def test_the_first_quarter_of_an_hour(self):
        self.choose("🇷🇺 Russian", "Spanish")
        self.dictate(HOTKEY)
        self.assertEqual(self.person.status(), "Inserted translation.")

        self.record_hotkey("super", "k")
        self.assertEqual(self.person.status(), "Hotkey updated to Cmd K.")
        self.dictate(("super", "k"))
        self.assertEqual(self.person.status(), "Inserted translation.")

        self.in_panel(lambda: self.click("Reset hotkey"))
        self.person.wait_for_status("Hotkey updated to Ctrl Option Space.")

        self.choose("Apple Local", "OpenAI")
        self.in_panel(lambda: self.enter("Backend URL", "http://127.0.0.1:9/v1/translate"))
        self.speak(HOTKEY)
        wait_for("the failure", lambda: self.person.status().startswith("Translation failed: "))
        self.assertIn("127.0.0.1", self.person.status())
        self.assertTrue(self.person.status().endswith("."), self.person.status())

        self.choose("OpenAI Natural", "Apple")
        self.dictate(HOTKEY)
        self.assertEqual(self.person.status(), "Inserted translation.")

    # What it takes

    def speak(self, keys):
        self.person.focus_editor()
        self.desktop.keys_down(*keys)
        self.person.say(recordings()[4])
        self.desktop.keys_up(*reversed(keys))

    def dictate(self, keys):
        before = self.person.editor_text()
        self.speak(keys)
        wait_for(f"the text (the status is {self.person.status()!r})", lambda: self.person.editor_text() != before)
        # The paste is over once the clipboard is as empty as before.
        wait_for("the clipboard's emptiness", lambda: not self.desktop.clipboard("TARGETS"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
