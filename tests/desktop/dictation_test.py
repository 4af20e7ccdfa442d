#!/usr/bin/python3
"""Drives the real program on a real desktop: keys, sound, clipboard, editor. The path of the program is the first
argument; what follows is for unittest."""

import os
import unittest

from desktop_case import PROGRAM  # first: it finds the others

from dictation import Person, make_image, recordings, write_settings
from virtual_desktop import VirtualDesktop, wait_for
from word_error_rate import word_error_rate


class DictationTest(unittest.TestCase):
    """A desktop for all the tests of a class, each of which begins with an empty editor."""

    settings = {"targetLanguageIdentifier": "es"}

    @classmethod
    def setUpClass(cls):
        cls.desktop = cls.enterClassContext(VirtualDesktop())
        write_settings(cls.desktop, **cls.settings)
        cls.person = Person(cls.desktop, PROGRAM)
        cls.person.open_editor()
        cls.person.start_quillora()

    def setUp(self):
        self.person.focus_editor()
        self.person.empty_editor()

    def tearDown(self):
        # What the next test copies would go with it.
        wait_for("the clipboard's return", lambda: not self.holds_what_was_inserted())

    def holds_what_was_inserted(self):
        return self.desktop.clipboard("UTF8_STRING").decode() in {self.person.translation(), self.person.transcript()} - {""}


class TranslatedDictationTest(DictationTest):
    def test_a_held_key_turns_speech_into_text_in_the_editor(self):
        recording = recordings()[1]
        text, _ = self.person.speak(recording)
        self.assertEqual(text, self.person.translation())
        self.assertLessEqual(word_error_rate(recording.spoken, self.person.transcript()).share(), 0.5)
        self.assertEqual(self.person.status(), "Inserted translation.")

    def test_interim_text_appears_while_the_key_is_held(self):
        with self.person.holding_the_hotkey():
            self.person.wait_for_status("Listening...")
            player = self.desktop.start(["paplay", "--device=microphone", recordings()[0].path])
            self.addCleanup(self.desktop.stop, player)  # or the next test would hear it
            wait_for("interim text", lambda: len(self.person.transcript().split()) >= 2)
            self.assertIsNone(player.poll(), "the interim text came only after the sentence was over")
        wait_for("the text in the editor", self.person.editor_text)

    def test_a_tap_says_that_no_speech_was_recognized_and_the_next_dictation_works(self):
        with self.person.holding_the_hotkey():
            pass
        self.person.wait_for_status("No speech recognized.")
        self.assertEqual(self.person.editor_text(), "")
        self.person.wait_for_panel_in_front()  # a notice opens it
        self.person.close_panel()
        self.person.focus_editor()
        text, _ = self.person.speak(recordings()[4])
        self.assertEqual(text, self.person.translation())

    def test_with_the_panel_in_front_the_paste_goes_to_the_application_before(self):
        self.person.open_panel()
        self.person.wait_for_panel_in_front()
        text, _ = self.person.speak(recordings()[4])
        self.assertEqual(text, self.person.translation())

    def test_the_clipboard_comes_back_with_every_format(self):
        image = self.copy_image()[0]
        targets = sorted(self.desktop.clipboard("TARGETS").split())
        with open(image, "rb") as file:
            wanted = file.read()
        self.person.speak(recordings()[4])
        wait_for("the clipboard's return", lambda: self.desktop.clipboard("image/png") == wanted)
        self.assertLessEqual(set(targets), set(self.desktop.clipboard("TARGETS").split()))

    def test_an_empty_clipboard_is_empty_again(self):
        self.desktop.stop(self.copy_image()[1])
        wait_for("an empty clipboard", lambda: not self.desktop.clipboard("TARGETS"))
        self.person.speak(recordings()[4])
        wait_for("the clipboard's emptiness", lambda: not self.desktop.clipboard("TARGETS"))

    def copy_image(self):
        """Its path, and the program that holds it."""
        image = os.path.join(self.desktop.folder, "image.png")
        make_image(image)
        return image, self.person.put_on_clipboard(image, "image/png")


class QuittingTest(DictationTest):
    def test_quitting_leaves_no_process_behind(self):
        self.person.speak(recordings()[4])
        self.assertTrue(self.person.translators())
        self.assertTrue(self.desktop.stop(self.person.quillora, seconds=5), "it did not end when it was asked to")
        wait_for("the end of what it started", lambda: not self.person.translators())


class SameLanguageDictationTest(DictationTest):
    settings = {"targetLanguageIdentifier": "en"}

    def test_the_transcript_itself_is_inserted(self):
        text, _ = self.person.speak(recordings()[1])
        self.assertEqual(text, self.person.transcript())
        self.assertEqual(self.person.status(), "Inserted transcript.")


class DefaultPairDictationTest(DictationTest):
    settings = {}

    def test_a_pair_without_models_asks_and_fails_with_a_sentence_that_names_both_languages(self):
        with self.person.holding_the_hotkey():
            self.person.say(recordings()[4])
        wait_for("the question", lambda: self.person.reader.place("Quillora", "Not Now"))
        self.person.click("Not Now")
        self.person.wait_for_status(
            "Translation failed: English to Russian needs a download that was not agreed to. "
            "Choose the languages again to be asked again, or open Models in the tray menu.")
        self.assertEqual(self.person.editor_text(), "")
        self.assertNotEqual(self.person.transcript(), "")


if __name__ == "__main__":
    unittest.main(verbosity=2)
