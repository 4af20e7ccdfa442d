#!/usr/bin/python3
"""How models come to a computer that has none, with mouse and keys, and what a person reads meanwhile. The path of the
program is the first argument."""

import os
import re
import subprocess
import unittest

from desktop_case import PROGRAM  # first: it finds the others
from panel_case import PanelCase

import tones
from dictation import recordings, write_settings
from model_publisher import Publisher
from virtual_desktop import wait_for

QUESTION = "Download what translating English to Russian takes? 226 kB from the demonstration, kept on this computer."
ROW = "English to Russian, words-en-ru"
GERMAN_ROW = "German, tones-de"
PANEL_WIDTH = 382  # it stands at the left of the screen
PICTURES = os.path.join(os.path.dirname(PROGRAM), "..", "screenshots")


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

    def look_for(self, kind, words):
        """In the window for models, which is in front."""
        wait_for("the window", lambda: self.person.reader.place("Quillora", "Search languages and models"))
        self.person.reader.press("Quillora", kind)
        self.enter("Search languages and models", words)

    def press(self, *keys):
        self.desktop.run(["xdotool", "key", *keys])

    def take_picture(self, name):
        self.desktop.screenshot(os.path.join(PICTURES, f"models-desktop-{name}.png"))

    def starts(self):
        """Where the requests for the model's largest file began."""
        return [begin for path, begin in self.publisher.requests if path.endswith("model.bin")]


class FirstWindowTest(ModelsCase):
    def start_quillora(self):
        """Not yet: the first opening of the panel is looked at."""
        self.clicks = 0
        self.person.launch()

    def click(self, name):
        self.clicks += 1
        super().click(name)

    def click_at(self, left, top):
        self.clicks += 1
        self.desktop.run(["xdotool", "mousemove", str(left), str(top), "click", "1"])

    def test_three_clicks_lead_from_a_fresh_start_to_a_dictation_in_another_language(self):
        self.publisher.hold()
        self.click_at(*wait_for("the tray icon", self.person.tray_icon))
        self.wait_to_read("Languages on this computer", "Translate English to Russian", "226 kB",
                          "Kept on this computer.", "Not installed: 226 kB")
        self.assertEqual(self.starts(), [])
        self.hear_every_control()
        self.walk_by_keyboard()
        self.take_picture("fresh-start")

        self.click("Install, 226 kB")
        self.wait_to_read("On its way, 50 %", "On its way. You may close this window.")
        self.assertIsNone(self.person.question())
        self.take_picture("on-its-way")

        self.publisher.let_go()
        self.wait_to_read("Everything for this is here.")
        self.take_picture("arrived")
        self.click_at(1150, 400)  # the part of the editor that the windows leave free
        after, _ = self.person.speak(recordings()[1])
        self.assertEqual(after, self.words.translate(self.person.transcript()))
        self.assertIn("молодым человеком", after)
        self.assertEqual(self.clicks, 3)
        self.take_picture("in-use")

    def hear_every_control(self):
        """As a screen reader comes by them."""
        controls = self.person.reader.controls("Quillora", "Models")
        self.assertEqual(controls[:9], [
            ["combo box", "🇺🇸 English (United States)"], ["combo box", "🇷🇺 Russian"],
            ["check box", "Dictate in English (United States)"], ["check box", "Translate English to Russian"],
            ["push button", "Install, 226 kB"],
            ["page tab list", "Speech"], ["page tab", "Speech"], ["page tab", "Translation"],
            ["text", "Search languages and models"]])
        self.assertGreater(len(controls), 40)
        for role, name in controls[9:]:
            self.assertRegex(f"{role}: {name}", r"^(push button: (Install [\w ]+, .+|\d+ other choices? for \w+)|"
                                                r"link: Licence .+ of [\w ]+, .+)$")

    def walk_by_keyboard(self):
        """From what the window opens with to a model in the other list, and back."""
        self.person.wait_for_keyboard("Install, 226 kB")
        self.press("Tab")
        self.person.wait_for_keyboard("Speech")
        self.press("Right")
        self.wait_to_read("English to Russian, words-en-ru")
        self.press("Tab")
        self.person.wait_for_keyboard("Search languages and models")
        self.desktop.run(["xdotool", "type", "english to russian"])
        self.press("Tab")
        self.person.wait_for_keyboard(f"Install {ROW}")
        self.press("Tab")
        self.person.wait_for_keyboard("3 other choices for English to Russian")
        self.press("space")
        self.person.wait_for_keyboard("Fewer choices for English to Russian")
        self.press("Escape")  # what is searched for
        self.press("shift+Tab", "shift+Tab", "shift+Tab", "Left")
        self.person.wait_for_keyboard("Speech")
        self.press("shift+Tab")
        self.person.wait_for_keyboard("Install, 226 kB")


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
        self.decline_by_keyboard()
        self.wait_for_no_question()
        self.person.click("Prepare translation models")
        self.person.wait_for_status(
            "Translation setup failed: English to Russian needs a download that was not agreed to. Choose the languages "
            "again to be asked again, or open Models in the tray menu.", seconds=60)
        self.assertIsNone(self.person.question())
        self.take_picture("declined")

    def decline_by_keyboard(self):
        self.person.wait_for_keyboard("Download")
        self.press("shift+Tab")
        self.person.wait_for_keyboard("Not Now")
        self.press("Tab")
        self.person.wait_for_keyboard("Download")
        self.press("Tab")
        self.person.wait_for_keyboard("Models…")
        self.press("Tab")
        self.person.wait_for_keyboard("Not Now")
        self.press("Return")

    def agree_once_the_language_is_chosen_again(self):
        self.choose_russian()
        self.wait_for_question()
        self.click("Models…")
        self.look_for("Translation", "English to Russian")
        self.wait_to_read("226 kB")
        self.assertEqual(self.starts(), [])
        self.click("Download")
        self.wait_for_no_question()
        self.wait_to_read("On its way, 50 %")

    def cancel(self):
        self.click(f"Cancel {ROW}")
        self.wait_to_read("Install, 226 kB")
        self.take_picture("cancelled")

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
        self.look_for("Translation", "English to Russian")
        self.wait_to_read("Paused")
        self.take_picture("started-again")
        self.assertEqual(self.starts(), [0, 0])
        self.click(f"Resume {ROW}")
        self.wait_to_read("Everything for this is here.")
        self.assertGreater(self.starts()[-1], 0)

    # What it takes

    def choose_russian(self):
        """Again: it is what is chosen."""
        self.person.pick("🇷🇺 Russian", "Spanish")
        self.person.pick("🇪🇸 Spanish", "Russian")


class WhileDictatingTest(ModelsCase):
    """What a download and a dictation do to one another."""

    editor_place = (400, 650, 860, 140)  # below the window for models, which is looked at meanwhile

    def arrange(self):
        super().arrange()
        self.tones = self.publisher.offer_tones(PROGRAM)
        self.publisher.write_catalog()
        write_settings(self.desktop, targetLanguageIdentifier="es")

    def start_quillora(self):
        """With the window for models, which opens beside the first panel."""
        self.person.launch()
        self.person.open_panel()

    def test_a_download_and_a_dictation_leave_one_another_alone(self):
        self.publisher.hold()
        self.look_for("Translation", "English to Russian")
        self.click(f"Install {ROW}")
        self.wait_to_read(f"Pause {ROW}")
        self.dictate_in_another_language()
        self.pause_what_somebody_waits_for()
        self.let_it_arrive_during_a_dictation()
        self.remove_it_during_a_dictation()
        self.dictate_in_a_language_that_is_on_its_way()
        self.remove_what_hears_during_a_dictation()

    def wait_for_text(self, text):
        """An editor takes what is inserted in its own time."""
        wait_for(lambda: f"the text {text!r} (it is {self.person.editor_text()!r})",
                 lambda: self.person.editor_text() == text)

    def dictate_in_another_language(self):
        self.person.focus_editor()
        with self.person.holding_the_hotkey():
            self.person.say(recordings()[1])
            self.take_picture("dictating-meanwhile")
        self.person.wait_for_status("Inserted translation.")
        self.wait_for_text(self.person.translation())
        self.assertTrue(self.person.shows(f"Pause {ROW}"))

    def pause_what_somebody_waits_for(self):
        self.person.open_panel()
        self.person.pick("🇪🇸 Spanish", "Russian")
        self.person.click("Prepare translation models")
        self.person.wait_for_status("Preparing translation models...")
        self.person.click(f"Pause {ROW}")
        self.person.wait_for_status("Translation setup failed: The download for English to Russian is paused. Go on "
                                    "with it under Models in the tray menu.")
        self.assertIsNone(self.person.question())
        self.wait_to_read("Paused")
        self.take_picture("paused")
        self.person.click(f"Resume {ROW}")
        self.wait_to_read(f"Pause {ROW}")

    def let_it_arrive_during_a_dictation(self):
        self.person.focus_editor()
        before = self.person.editor_text()
        with self.person.holding_the_hotkey():
            self.person.say(recordings()[1])
            self.publisher.let_go()
            self.wait_to_read("Installed, in use")
            self.assertEqual(self.person.status(), "Listening...")
            self.take_picture("arrived-while-dictating")
        self.person.wait_for_status("Inserted translation.")
        self.wait_for_text(before + self.words.translate(self.person.transcript()))

    def remove_it_during_a_dictation(self):
        """It is asked for again, and what was said is not lost."""
        with self.person.holding_the_hotkey():
            self.person.say(recordings()[1])
            self.person.click(f"Remove {ROW}")
            self.wait_to_read(f"Install {ROW}")
        self.wait_for_question()
        self.take_picture("removed")
        self.click("Not Now")
        self.person.wait_for_status(
            "Translation failed: English to Russian needs a download that was not agreed to. Choose the languages "
            "again to be asked again, or open Models in the tray menu.")
        self.assertIn("young man", self.person.transcript())

    def dictate_in_a_language_that_is_on_its_way(self):
        self.publisher.hold()
        self.person.open_panel()
        self.person.pick("🇺🇸 English (United States)", "German")
        wait_for("one question", lambda: (self.person.question() or "").startswith(
            "Download what dictating in German (Germany) and translating German to Russian, by way of English, take? "))
        self.click("Models…")
        self.look_for("Speech", "tones")
        self.click(f"Install {GERMAN_ROW}")
        self.wait_to_read(f"Pause {GERMAN_ROW}")
        self.click("Not Now")
        self.person.focus_editor()
        with self.person.holding_the_hotkey():
            self.person.wait_for_status("Speech failed: Speech recognizer is unavailable for de-DE.")
        self.person.open_panel()
        wait_for("how far it is", lambda: (self.person.reader.description("Quillora", "🇩🇪 German (Germany)") or "")
                 .startswith("On its way, "))
        self.take_picture("another-language")

    def remove_what_hears_during_a_dictation(self):
        """It hears on: what is said is not lost."""
        self.publisher.let_go()
        self.wait_to_read(f"Remove {GERMAN_ROW}")
        clip = os.path.join(self.desktop.folder, "clip.wav")
        tones.write(tones.in_german("hello world"), self.tones, clip)
        self.person.focus_editor()
        with self.person.holding_the_hotkey():
            self.person.wait_for_status("Listening...")
            self.person.click(f"Remove {GERMAN_ROW}")
            self.wait_to_read(f"Keep {GERMAN_ROW}")
            self.desktop.play(clip)
            wait_for("what is heard", lambda: self.person.transcript() == "hello world")
        self.person.wait_for_status(
            "Translation failed: German to Russian needs a download that was not agreed to. Choose the languages again "
            "to be asked again, or open Models in the tray menu.")
        self.assertEqual(self.person.transcript(), "hello world")
        self.take_picture("removed-what-hears")


class WhatCannotBeHadTest(ModelsCase):
    def arrange(self):
        super().arrange()
        self.disk = os.path.join(self.desktop.environment["XDG_DATA_HOME"], "Quillora")
        self.is_disk_small = self.mount_small_disk()
        self.publisher.offer("huge", "translation", ["en", "de"], "neural", {"model.bin": __file__}, downloadSize=226000)
        self.publisher.exaggerate("huge", 1 << 49)
        self.publisher.write_catalog()
        write_settings(self.desktop, targetLanguageIdentifier="de")

    def test_what_cannot_be_had_is_named(self):
        self.ask_for_more_than_there_is_room_for()
        if self.is_disk_small:
            self.run_out_of_room_on_the_way()
        else:
            print("No disk was filled: nothing can be mounted here.")
        self.ask_a_publisher_who_is_away()

    def mount_small_disk(self):
        os.makedirs(self.disk, exist_ok=True)
        mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=24m", "tmpfs", self.disk], check=False)
        if mounted.returncode == 0:
            # Who still has a file there does not keep the folder from being removed.
            self.addCleanup(subprocess.run, ["umount", "--lazy", self.disk], check=True)
        return mounted.returncode == 0

    def ask_for_more_than_there_is_room_for(self):
        self.person.open_panel()
        self.person.click("Prepare translation models")
        wait_for("the question", lambda: self.person.question() == QUESTION.replace("Russian", "German"))
        self.click("Download")
        wait_for("the lack of room", lambda: re.fullmatch(
            r"Translation setup failed: The download for English to German failed: The model needs 562\.9 TB on the "
            r"disk, and [0-9.]+ [kMGT]B are free\. Make room for it\. Try again under Models in the tray menu\.",
            self.person.status()))
        self.take_picture("no-room")

    def run_out_of_room_on_the_way(self):
        """What came stays, and the reason is told."""
        self.publisher.hold()
        self.person.pick("🇩🇪 German", "Russian")
        self.wait_for_question()
        self.click("Download")
        self.wait_for_no_question()
        def mark():
            return self.person.reader.description("Quillora", "🇷🇺 Russian") or ""
        wait_for(lambda: f"half of it (the mark is {mark()!r}, the panel stands at "
                         f"{self.person.reader.place('Quillora', 'Start')}, its status is {self.person.status()!r})",
                 lambda: mark().startswith("On its way, 50 %"))
        self.person.click("Prepare translation models")  # which joins the download
        self.person.wait_for_status("Preparing translation models...")
        with self.assertRaises(OSError), open(os.path.join(self.disk, "ballast"), "wb", buffering=0) as ballast:
            while True:
                ballast.write(bytes(4096))
        self.publisher.let_go()
        reason = '"model.bin" could not be written: No space left on device.'
        self.person.wait_for_status(f"Translation setup failed: The download for English to Russian failed: {reason} "
                                    "Try again under Models in the tray menu.")
        self.take_picture("disk-full")
        self.person.click_on("Models… for this status")
        self.look_for("Translation", "English to Russian")
        self.wait_to_read(reason, f"Resume {ROW}")
        left, _ = self.person.reader.place("Quillora", "Search languages and models")
        self.assertGreater(left, PANEL_WIDTH)  # the panel, which stays in front, hides nothing of it
        self.take_picture("disk-full-window")
        os.remove(os.path.join(self.disk, "ballast"))
        self.person.open_panel()
        self.person.pick("🇷🇺 Russian", "German")
        wait_for("another question", lambda: self.person.question() == QUESTION.replace("Russian", "German"))
        self.click("Not Now")
        self.wait_for_no_question()

    def ask_a_publisher_who_is_away(self):
        self.publisher.close()
        self.person.pick("🇩🇪 German", "Russian")
        self.wait_for_question()
        self.click("Download")
        self.person.click("Prepare translation models")  # which joins the download
        self.person.wait_for_status(
            "Translation setup failed: The download for English to Russian gets no connection: Could not connect to "
            "127.0.0.1: connection refused. It is tried again for a while; translate again when it has come, or see "
            "Models in the tray menu.")
        self.take_picture("away")


if __name__ == "__main__":
    unittest.main(verbosity=2)
