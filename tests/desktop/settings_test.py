#!/usr/bin/python3
"""Changes every setting with mouse and keys on the real panel, starts the program again and looks. The path of the
program is the first argument."""

import unittest

from panel_case import PanelCase  # first: it finds the others

from dictation import stored_token
from virtual_desktop import wait_for

ENDPOINT = "http://127.0.0.1:9/v1/translate?a=1,2;b=%20"
TOKEN = "a token, with blanks"


class SettingsTest(PanelCase):
    def test_what_was_set_is_there_again_after_a_restart(self):
        self.choose("🇷🇺 Russian", "Spanish")
        self.choose("Apple Local", "OpenAI")
        self.in_panel(lambda: self.enter("Backend URL", ENDPOINT))
        self.in_panel(lambda: self.enter("Subscription token", TOKEN))
        self.in_panel(self.choose_german)
        self.record_hotkey("super", "k")
        self.quit()

        self.person.start_quillora()
        self.in_panel(self.look)
        self.assertEqual(stored_token(self.desktop), TOKEN)
        self.assert_the_hotkey_is("super", "k")

    def choose_german(self):
        self.person.pick("🇺🇸 English (United States)", "German")
        wait_for("the question", self.person.question)
        self.click("Not Now")
        wait_for("the question's end", lambda: not self.person.question())

    def look(self):
        for shown in ("🇩🇪 German (Germany)", "🇪🇸 Spanish", "OpenAI Natural", "Cmd K"):
            self.assertIsNotNone(self.person.reader.place("Quillora", shown), shown)
        self.assertEqual(self.person.reader.text("Quillora", "Backend URL"), ENDPOINT)
        self.assertEqual(self.person.reader.length("Quillora", "Subscription token"), len(TOKEN))

    def assert_the_hotkey_is(self, *keys):
        self.person.focus_editor()
        self.desktop.keys_down(*keys)
        self.person.wait_for_status("Speech failed: Speech recognizer is unavailable for de-DE.")
        self.desktop.keys_up(*reversed(keys))


if __name__ == "__main__":
    unittest.main(verbosity=2)
