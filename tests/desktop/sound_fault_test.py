#!/usr/bin/python3
"""Breaks the sound server and its microphone around the real program on a real desktop, and looks at the state it is in
afterwards. The path of the program is the first argument; what follows is for unittest."""

import json
import os
import unittest

from desktop_case import FaultTest  # first: it finds the others

from virtual_desktop import wait_for

NO_MICROPHONE = "Speech failed: No microphone input format is available."


class SoundFaultTest(FaultTest):
    """The sound server and its microphone."""

    def restart_quillora(self, **options):
        self.desktop.stop(self.person.quillora)
        self.start_quillora(**options)

    @classmethod
    def arrange(cls):
        super().arrange()
        cls.notifications = os.path.join(cls.desktop.folder, "notifications")
        with open(cls.notifications, "wb") as file:
            cls.desktop.start_daemon([os.path.join(os.path.dirname(os.path.abspath(__file__)),
                                                   "notification_server.py")], stdout=file)
        wait_for("the notification service", lambda: cls.lines_of_the_service() == ["ready"])

    @classmethod
    def lines_of_the_service(cls):
        with open(cls.notifications, encoding="utf-8") as file:
            return file.read().splitlines()

    def setUp(self):
        super().setUp()
        self.told_before = len(self.lines_of_the_service())

    def told(self):
        """What notifications said during this test."""
        return [json.loads(line) for line in self.lines_of_the_service()[self.told_before:]]

    def assert_told_once(self, reason):
        wait_for("the notification", self.told)
        self.assertEqual(self.told(), [{"application": "Quillora", "summary": "Dictation ended early",
                                        "body": f"{reason} What was heard before is kept. Check the microphone, "
                                                "then dictate the rest."}])

    def sound_returns(self):
        self.desktop.kill_sound()
        self.desktop.start_sound()

    def test_killed_in_mid_sentence_keeps_the_words_so_far(self):
        before = self.person.editor_text()
        with self.person.holding_the_hotkey():
            self.person.say(self.clip)
            self.desktop.kill_sound()
            self.wait_for_text(before)  # though the key is down
            self.assert_told_once("The sound server went away.")
        self.desktop.start_sound()
        self.assert_all_is_well_again()

    def test_killed_before_the_first_word_leaves_nothing_to_recognize(self):
        with self.person.holding_the_hotkey():
            self.person.wait_for_status("Listening...")
            self.desktop.kill_sound()
        self.person.wait_for_status("No speech recognized.")
        self.desktop.start_sound()
        self.assert_all_is_well_again()

    def test_frozen_in_mid_sentence_keeps_the_words_so_far(self):
        before = self.person.editor_text()
        with self.person.holding_the_hotkey():
            self.person.say(self.clip)
            self.desktop.freeze_sound()
            self.addCleanup(self.desktop.thaw_sound)
        self.wait_for_text(before)
        self.desktop.thaw_sound()
        self.assert_all_is_well_again()
        self.assertEqual(self.told(), [])

    def test_frozen_for_long_in_mid_sentence_ends_the_dictation(self):
        before = self.person.editor_text()
        with self.person.holding_the_hotkey():
            self.person.say(self.clip)
            self.desktop.freeze_sound()
            self.addCleanup(self.desktop.thaw_sound)
            self.wait_for_text(before)
            self.assert_told_once("No sound has come from the microphone for 5 seconds.")
        self.desktop.thaw_sound()
        self.sound_returns()  # a virtual microphone that stood still for so long stutters for a while
        self.assert_all_is_well_again()

    def test_restarted_in_mid_sentence_keeps_the_words_so_far(self):
        before = self.person.editor_text()
        with self.person.holding_the_hotkey():
            self.person.say(self.clip)
            self.sound_returns()
        self.wait_for_text(before)
        self.assert_all_is_well_again()

    def test_restarted_between_two_dictations_goes_unnoticed(self):
        self.sound_returns()
        self.assert_all_is_well_again()

    def test_killed_between_two_dictations_means_no_microphone_until_it_is_back(self):
        self.desktop.kill_sound()
        with self.person.holding_the_hotkey():
            self.person.wait_for_status(NO_MICROPHONE)
        self.desktop.start_sound()
        self.assert_all_is_well_again()

    def test_a_microphone_switched_off_in_the_desktops_settings_is_not_touched(self):
        settings = os.path.join(self.desktop.environment["XDG_CONFIG_HOME"], "glib-2.0", "settings", "keyfile")
        os.makedirs(os.path.dirname(settings), exist_ok=True)
        with open(settings, "w", encoding="utf-8") as file:
            file.write("[org/gnome/desktop/privacy]\ndisable-microphone=true\n")
        self.restart_quillora(environment={"GSETTINGS_BACKEND": "keyfile"})
        with self.person.holding_the_hotkey():
            self.person.wait_for_status("Speech failed: Microphone permission was denied.")
            recordings = self.desktop.run(["pactl", "list", "source-outputs"])
        self.assertIn(b"parec", recordings)
        self.assertNotIn(b"Dictation", recordings)
        os.remove(settings)
        self.restart_quillora()
        self.assert_all_is_well_again()

    def test_frozen_at_the_press_means_no_microphone(self):
        self.desktop.freeze_sound()
        self.addCleanup(self.desktop.thaw_sound)
        with self.person.holding_the_hotkey():
            self.person.wait_for_status(NO_MICROPHONE)
        self.desktop.thaw_sound()
        self.assertEqual(self.person.status(), NO_MICROPHONE)
        self.assert_all_is_well_again()

    def test_absent_at_the_start_means_no_microphone_until_it_is_there(self):
        self.desktop.stop(self.person.quillora)
        self.desktop.kill_sound()
        self.start_quillora()
        with self.person.holding_the_hotkey():
            self.person.wait_for_status(NO_MICROPHONE)
        self.desktop.start_sound()
        self.assert_all_is_well_again()

    def test_a_microphone_unplugged_in_mid_sentence_is_not_replaced_by_another(self):
        self.desktop.run(["pactl", "load-module", "module-null-source", "source_name=other"])
        self.addCleanup(self.desktop.run, ["pactl", "unload-module", "module-null-source"])
        before = self.person.editor_text()
        with self.person.holding_the_hotkey():
            self.person.say(self.clip)
            self.assertIn(b"Dictation", self.desktop.run(["pactl", "list", "source-outputs"]))
            self.desktop.unplug_microphone()
            self.assertNotIn(b"Dictation", self.desktop.run(["pactl", "list", "source-outputs"]))
            self.wait_for_text(before)
            self.assert_told_once("The microphone was disconnected.")
        self.desktop.plug_in_microphone()
        self.assert_all_is_well_again()


if __name__ == "__main__":
    unittest.main(verbosity=2)
