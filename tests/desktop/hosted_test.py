#!/usr/bin/python3
"""The hosted engine as a person meets it: the real program, the real backend, and behind that a model that knows some
sentences. The path of the program is the first argument; what follows is for unittest."""

import os
import unittest

from desktop_case import PROGRAM, FaultTest  # first: it finds the others

from dictation import Backend, clear_sentence
from virtual_desktop import wait_for

PICTURES = os.path.join(os.path.dirname(PROGRAM), "..", "screenshots")
KAZAKH = "\u04d9\u0456\u04a3\u0493\u04af\u04b1\u049b\u04e9\u04bb"  # letters that Russian does not have


class HostedTest(FaultTest):
    @staticmethod
    def make_clip(_folder):
        """The model knows it, and a busy machine may hear no more than a word of a shorter one."""
        return clear_sentence()

    @classmethod
    def arrange(cls):
        cls.backend = Backend(cls.desktop, PROGRAM)
        cls.backend.choose()

    def dictate(self):
        """The status in the end."""
        self.back_to_the_editor()
        with self.person.holding_the_hotkey():
            self.person.say(self.clip)
        wait_for("the end", lambda: (self.person.status() or "").startswith(("Translation failed: ", self.inserted)))
        self.wait_for_clipboard()  # a key that is held before that is not heard
        return self.person.status()

    def assert_the_panel_says(self, sentence, picture):
        before = self.person.editor_text()
        self.assertEqual(self.dictate(), f"Translation failed: {sentence}")
        wait_for("the panel", lambda: self.person.reader.place("Quillora", "Start"))
        self.desktop.screenshot(os.path.join(PICTURES, f"hosted-{picture}.png"))
        self.assertEqual(self.person.editor_text(), before)
        self.assertEqual(self.person.translation(), "")

    def test_kazakh_stands_in_the_editor(self):
        before = self.person.editor_text()
        self.assertEqual(self.dictate(), self.inserted)
        wait_for("the text", lambda: self.person.editor_text() == before + self.person.translation())
        self.assertTrue(set(KAZAKH) & set(self.person.translation()), self.person.translation())

    def test_a_token_that_is_not_known_is_told(self):
        self.backend.restart(TOKENS_FILE=os.path.join(self.desktop.folder, "no-tokens"))
        self.assert_the_panel_says("The subscription token is not valid.", "wrong-token")
        self.backend.restart()

    def test_a_model_that_is_down_is_told(self):
        self.backend.restart(UPSTREAM_URL="http://127.0.0.1:1/v1/chat/completions")
        self.assert_the_panel_says("The translation model cannot be reached.", "model-down")
        self.backend.restart()

    def test_a_limit_that_is_reached_is_told_with_the_time_to_wait(self):
        self.backend.restart(LIMITS_TOKEN_PER_MINUTE=1)
        # A minute may begin between two of them.
        status = next(status for status in (self.dictate() for _ in range(4)) if status != self.inserted)
        self.assertRegex(status, r"\ATranslation failed: Too many translations within a minute\. Try again in \d+ "
                                 r"seconds?\.\Z")
        wait_for("the panel", lambda: self.person.reader.place("Quillora", "Start"))
        self.desktop.screenshot(os.path.join(PICTURES, "hosted-limit.png"))
        self.backend.restart()


if __name__ == "__main__":
    unittest.main()
