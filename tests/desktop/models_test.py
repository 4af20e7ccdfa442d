#!/usr/bin/python3
"""How models come to a computer that has none, with mouse and keys, and what a person reads meanwhile. The path of the
program is the first argument."""

import unittest

from desktop_case import PROGRAM  # first: it finds the others
from panel_case import PanelCase

from dictation import recordings
from model_publisher import Publisher
from virtual_desktop import wait_for

QUESTION = "Download what translating English to Russian takes? 226 kB from the demonstration, kept on this computer."
ROW = "English to Russian, words-en-ru"


class ModelsCase(PanelCase):
    def arrange(self):
        self.publisher = Publisher(self.desktop)
        self.words = self.publisher.offer_words(PROGRAM, "en", "ru")
        self.publisher.write_catalog()

    def wait_to_read(self, *texts):
        for text in texts:
            wait_for(f"the words {text!r}", lambda text=text: self.person.shows(text))

    def wait_for_question(self):
        wait_for("the question", lambda: self.person.question() == QUESTION)

    def wait_for_no_question(self):
        wait_for("the question's end", lambda: self.person.question() is None)

    def starts(self):
        """Where the requests for the model's largest file began."""
        return [begin for path, begin in self.publisher.requests if path.endswith("model.bin")]


class FirstWindowTest(ModelsCase):
    def start_quillora(self):
        """Not yet: the first opening of the panel is looked at."""
        self.person.launch()

    def test_one_click_in_the_first_window_brings_a_translation_to_the_editor(self):
        self.publisher.hold()
        self.person.open_panel()
        self.wait_to_read("Languages on this computer", "Translate English to Russian", "226 kB",
                          "Kept on this computer.", "Not installed: 226 kB")
        self.assertEqual(self.starts(), [])

        self.click("Install, 226 kB")
        self.wait_to_read("On its way, 50 %", "On its way. You may close this window.")
        self.assertIsNone(self.person.question())

        self.publisher.let_go()
        self.wait_to_read("Everything for this is here.")
        self.person.close_panel()
        self.person.focus_editor()
        after, _ = self.person.speak(recordings()[1])
        self.assertEqual(after, self.words.translate(self.person.transcript()))
        self.assertIn("молодым человеком", after)


class DownloadTest(ModelsCase):
    def test_a_person_may_decline_and_cancel_and_quit(self):
        self.publisher.hold()
        self.decline()
        self.agree_once_the_language_is_chosen_again()
        self.cancel()
        self.quit_in_the_middle()
        self.go_on()

    def decline(self):
        self.person.open_panel()
        self.choose_russian()
        self.wait_for_question()
        self.click("Not Now")
        self.wait_for_no_question()
        self.person.click("Prepare translation models")
        self.person.wait_for_status(
            "Translation setup failed: English to Russian needs a download that was not agreed to. Choose the languages "
            "again to be asked again, or open Models in the tray menu.", seconds=60)
        self.assertIsNone(self.person.question())

    def agree_once_the_language_is_chosen_again(self):
        self.choose_russian()
        self.wait_for_question()
        self.click("Models…")
        self.look_for_russian()
        self.wait_to_read("226 kB")
        self.assertEqual(self.starts(), [])
        self.click("Download")
        self.wait_for_no_question()
        self.wait_to_read("On its way, 50 %")

    def cancel(self):
        self.click(f"Cancel {ROW}")
        self.wait_to_read("Install, 226 kB")

    def quit_in_the_middle(self):
        self.click(f"Install {ROW}")
        self.wait_to_read("On its way, 50 %")
        self.assertEqual(self.starts(), [0, 0])  # what is cancelled is forgotten
        self.quit()

    def go_on(self):
        self.publisher.let_go()
        self.person.start_quillora()
        self.person.open_panel()
        self.wait_to_read("Not installed: 226 kB")
        self.choose_russian()
        self.wait_for_question()
        self.click("Models…")
        self.look_for_russian()
        self.wait_to_read("Paused")
        self.assertEqual(self.starts(), [0, 0])
        self.click(f"Resume {ROW}")
        self.wait_to_read("Everything for this is here.")
        self.assertGreater(self.starts()[-1], 0)

    # What it takes

    def choose_russian(self):
        """Again: it is what is chosen."""
        self.person.pick("🇷🇺 Russian", "Spanish")
        self.person.pick("🇪🇸 Spanish", "Russian")

    def look_for_russian(self):
        wait_for("the window", lambda: self.person.reader.place("Quillora", "Search languages and models"))
        self.person.reader.press("Quillora", "Translation")
        self.click("Search languages and models")
        self.desktop.run(["xdotool", "type", "English to Russian"])


class UnreachablePublisherTest(ModelsCase):
    def test_what_cannot_be_reached_is_named(self):
        self.publisher.close()
        self.person.open_panel()
        self.person.click("Prepare translation models")
        self.wait_for_question()
        self.click("Download")
        self.person.wait_for_status(
            "Translation setup failed: The download for English to Russian failed: Could not connect to 127.0.0.1: "
            "connection refused. Try again under Models in the tray menu.", seconds=60)


if __name__ == "__main__":
    unittest.main(verbosity=2)
