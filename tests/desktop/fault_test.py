#!/usr/bin/python3
"""Breaks one thing after another around the real program on a real desktop, and looks at the state it is in
afterwards: the status, the keys, the clipboard and the next dictation. The path of the program is the first argument;
what follows is for unittest."""

import os
import shutil
import signal
import subprocess
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "demo"))

from dictation import HOTKEY, Person, short_clip, write_settings  # noqa: E402
from virtual_desktop import VirtualDesktop, wait_for  # noqa: E402

PROGRAM = os.path.abspath(sys.argv.pop(1)) if len(sys.argv) > 1 else ""
HELD_BACK = b"what the user had copied before"
NO_MICROPHONE = "Speech failed: No microphone input format is available."
TRANSLATOR_STOPPED = ("Translation failed: The on-device translation from English to Spanish has stopped "
                      "unexpectedly.")


class FaultTest(unittest.TestCase):
    """A desktop for all the tests of a class. Whatever a test breaks it mends."""

    settings = {"targetLanguageIdentifier": "es"}
    inserted = "Inserted translation."

    @classmethod
    def setUpClass(cls):
        cls.desktop = cls.enterClassContext(VirtualDesktop())
        write_settings(cls.desktop, **cls.settings)
        cls.clip = short_clip(cls.desktop.folder)
        cls.person = Person(cls.desktop, PROGRAM)
        cls.person.open_editor()
        cls.person.start_quillora()

    def setUp(self):
        self.copy_something()
        self.person.focus_editor()

    def copy_something(self):
        """A small program with something on the clipboard, which it keeps for as long as it runs."""
        path = os.path.join(self.desktop.folder, "copied")
        with open(path, "wb") as file:
            file.write(HELD_BACK)
        self.owner = self.person.put_on_clipboard(path, "UTF8_STRING")

    # What a person does

    def speak_in(self):
        """Says the clip while the key is held, until some of it is understood."""
        self.wait_for_status("Listening...")
        self.desktop.play(self.clip.path)
        wait_for("some words", self.person.transcript)

    def back_to_the_editor(self):
        """From the panel too, which opens by itself when something failed."""
        self.person.close_panel()
        self.person.focus_editor()

    # What a person finds

    def wait_for_status(self, status, seconds=10):
        wait_for(f"the status {status!r} (it is {self.person.status()!r})", lambda: self.person.status() == status,
                 seconds)

    def wait_for_text(self, before):
        """That a dictation ended well in the editor."""
        self.wait_for_status(self.inserted)
        wait_for("the text in the editor", lambda: self.person.editor_text() == before + self.person.translation())
        self.assertNotEqual(self.person.translation(), "")

    def wait_for_clipboard(self):
        """That it holds what the user had copied."""
        wait_for("the clipboard's return", lambda: self.desktop.clipboard("UTF8_STRING") == HELD_BACK, 5)

    def assert_all_is_well_again(self):
        self.assertEqual(self.desktop.keys_held(), [])
        self.wait_for_clipboard()
        self.assert_the_next_dictation_works()

    def assert_the_next_dictation_works(self):
        self.back_to_the_editor()
        before = self.person.editor_text()
        after, _ = self.person.speak(self.clip)
        self.assertEqual(after, before + self.person.translation())
        self.wait_for_status(self.inserted)
        self.assertEqual(self.desktop.keys_held(), [])
        self.wait_for_clipboard()


class SoundFaultTest(FaultTest):
    """The sound server and its microphone."""

    def restart_quillora(self, **options):
        self.desktop.stop(self.person.quillora)
        self.person.start_quillora(**options)
        self.person.focus_editor()

    def sound_returns(self):
        self.desktop.kill(self.desktop.sound)
        self.desktop.start_sound()

    def test_killed_in_mid_sentence_keeps_the_words_so_far(self):
        before = self.person.editor_text()
        with self.person.holding_the_hotkey():
            self.speak_in()
            self.desktop.kill(self.desktop.sound)
        self.wait_for_text(before)
        self.desktop.start_sound()
        self.assert_all_is_well_again()

    def test_killed_before_the_first_word_leaves_nothing_to_recognize(self):
        with self.person.holding_the_hotkey():
            self.wait_for_status("Listening...")
            self.desktop.kill(self.desktop.sound)
        self.wait_for_status("No speech recognized.")
        self.desktop.start_sound()
        self.assert_all_is_well_again()

    def test_frozen_in_mid_sentence_keeps_the_words_so_far(self):
        before = self.person.editor_text()
        with self.person.holding_the_hotkey():
            self.speak_in()
            self.desktop.freeze(self.desktop.sound)
            self.addCleanup(self.desktop.thaw, self.desktop.sound)
        self.wait_for_text(before)
        self.desktop.thaw(self.desktop.sound)
        self.assert_all_is_well_again()

    def test_restarted_in_mid_sentence_keeps_the_words_so_far(self):
        before = self.person.editor_text()
        with self.person.holding_the_hotkey():
            self.speak_in()
            self.sound_returns()
        self.wait_for_text(before)
        self.assert_all_is_well_again()

    def test_restarted_between_two_dictations_goes_unnoticed(self):
        self.sound_returns()
        self.assert_all_is_well_again()

    def test_killed_between_two_dictations_means_no_microphone_until_it_is_back(self):
        self.desktop.kill(self.desktop.sound)
        with self.person.holding_the_hotkey():
            self.wait_for_status(NO_MICROPHONE)
        self.desktop.start_sound()
        self.assert_all_is_well_again()

    def test_a_microphone_switched_off_in_the_desktops_settings_is_not_touched(self):
        settings = os.path.join(self.desktop.environment["XDG_CONFIG_HOME"], "glib-2.0", "settings", "keyfile")
        os.makedirs(os.path.dirname(settings), exist_ok=True)
        with open(settings, "w", encoding="utf-8") as file:
            file.write("[org/gnome/desktop/privacy]\ndisable-microphone=true\n")
        self.restart_quillora(environment={"GSETTINGS_BACKEND": "keyfile"})
        with self.person.holding_the_hotkey():
            self.wait_for_status("Speech failed: Microphone permission was denied.")
            self.assertNotIn(b"Dictation", self.desktop.run(["pactl", "list", "source-outputs"]))
        os.remove(settings)
        self.restart_quillora()
        self.assert_all_is_well_again()

    def test_frozen_at_the_press_means_no_microphone(self):
        self.desktop.freeze(self.desktop.sound)
        self.addCleanup(self.desktop.thaw, self.desktop.sound)
        with self.person.holding_the_hotkey():
            self.wait_for_status(NO_MICROPHONE)
        self.desktop.thaw(self.desktop.sound)
        self.assertEqual(self.person.status(), NO_MICROPHONE)
        self.assert_all_is_well_again()

    def test_absent_at_the_start_means_no_microphone_until_it_is_there(self):
        self.desktop.stop(self.person.quillora)
        self.desktop.kill(self.desktop.sound)
        self.person.start_quillora()
        self.person.focus_editor()
        with self.person.holding_the_hotkey():
            self.wait_for_status(NO_MICROPHONE)
        self.desktop.start_sound()
        self.assert_all_is_well_again()

    def test_a_microphone_unplugged_in_mid_sentence_is_not_replaced_by_another(self):
        self.desktop.run(["pactl", "load-module", "module-null-source", "source_name=other"])
        self.addCleanup(self.desktop.run, ["pactl", "unload-module", "module-null-source"])
        before = self.person.editor_text()
        with self.person.holding_the_hotkey():
            self.speak_in()
            self.assertIn(b"Dictation", self.desktop.run(["pactl", "list", "source-outputs"]))
            self.desktop.unplug_microphone()
            self.assertNotIn(b"Dictation", self.desktop.run(["pactl", "list", "source-outputs"]))
        self.wait_for_text(before)
        self.desktop.plug_in_microphone()
        self.assert_all_is_well_again()


class TranslatorFaultTest(FaultTest):
    """The processes that translate."""

    def signal_translators(self, number):
        self.assertTrue(self.person.translators())
        for pid in self.person.translators():
            os.kill(pid, number)

    def setUp(self):
        super().setUp()
        self.person.start_translators()

    def dictate_into_a_frozen_translator(self):
        self.signal_translators(signal.SIGSTOP)
        with self.person.holding_the_hotkey():
            self.speak_in()
        self.wait_for_status("Translating locally...")

    def test_killed_between_two_dictations_they_are_replaced(self):
        self.signal_translators(signal.SIGKILL)
        self.assert_all_is_well_again()

    def test_killed_during_a_dictation_they_fail_it(self):
        self.dictate_into_a_frozen_translator()
        before = self.person.editor_text()
        self.signal_translators(signal.SIGKILL)
        self.wait_for_status(TRANSLATOR_STOPPED)
        self.assertEqual(self.person.editor_text(), before)
        self.assertNotEqual(self.person.transcript(), "")
        self.assert_all_is_well_again()

    def test_the_sound_server_killed_meanwhile_changes_nothing(self):
        before = self.person.editor_text()
        self.dictate_into_a_frozen_translator()
        self.desktop.kill(self.desktop.sound)
        self.signal_translators(signal.SIGCONT)
        self.wait_for_text(before)
        self.desktop.start_sound()
        self.assert_all_is_well_again()

    def test_the_sound_server_frozen_meanwhile_changes_nothing(self):
        before = self.person.editor_text()
        self.dictate_into_a_frozen_translator()
        self.desktop.freeze(self.desktop.sound)
        self.addCleanup(self.desktop.thaw, self.desktop.sound)
        self.signal_translators(signal.SIGCONT)
        self.wait_for_text(before)
        self.desktop.thaw(self.desktop.sound)
        self.assert_all_is_well_again()

    def test_the_hotkey_pressed_again_meanwhile_changes_nothing(self):
        self.dictate_into_a_frozen_translator()
        before, transcript = self.person.editor_text(), self.person.transcript()
        with self.person.holding_the_hotkey():
            self.assertEqual(self.person.status(), "Translating locally...")
        self.assertEqual(self.person.status(), "Translating locally...")
        self.signal_translators(signal.SIGCONT)
        self.wait_for_text(before)
        self.assertEqual(self.person.transcript(), transcript)
        self.assert_all_is_well_again()

    def test_the_hotkey_held_on_from_then_through_the_paste_changes_nothing(self):
        self.dictate_into_a_frozen_translator()
        before = self.person.editor_text()
        with self.person.holding_the_hotkey():
            self.signal_translators(signal.SIGCONT)
            self.wait_for_text(before)
        self.assertEqual(self.person.status(), self.inserted)
        self.assert_all_is_well_again()


class ApplicationFaultTest(FaultTest):
    """The application that the text is for, the keyboard and the clipboard."""

    def test_closed_before_the_paste_it_misses_the_text_and_nothing_else_happens(self):
        with self.person.holding_the_hotkey():
            self.speak_in()
            self.desktop.stop(self.person.editor)
        self.wait_for_status(self.inserted)
        self.wait_for_clipboard()
        self.person.open_editor()
        self.assert_all_is_well_again()

    def test_minimised_it_comes_back_for_the_text(self):
        before = self.person.editor_text()
        with self.person.holding_the_hotkey():
            self.speak_in()
            self.desktop.run(["xdotool", "windowminimize", "--sync", self.person.editor_window])
        self.wait_for_text(before)
        self.assert_all_is_well_again()

    def test_on_another_desktop_it_is_gone_to(self):
        before = self.person.editor_text()
        with self.person.holding_the_hotkey():
            self.speak_in()
            self.desktop.run(["xdotool", "set_desktop", "1"])
            wait_for("the other desktop", lambda: self.desktop.run(["xdotool", "get_desktop"]).strip() == b"1")
        self.wait_for_text(before)
        self.assertEqual(self.desktop.run(["xdotool", "get_desktop"]).strip(), b"0")
        self.assert_all_is_well_again()

    def test_a_clipboard_owner_that_hangs_costs_its_contents_only(self):
        before = self.person.editor_text()
        with self.person.holding_the_hotkey():
            self.speak_in()
            self.desktop.freeze(self.owner)
        self.wait_for_text(before)
        self.assertEqual(self.desktop.keys_held(), [])
        wait_for("the clipboard's emptiness", lambda: not self.desktop.clipboard("TARGETS"), 5)
        self.copy_something()
        self.assert_all_is_well_again()

    def test_a_clipboard_owner_that_dies_after_the_save_loses_nothing(self):
        before = self.person.editor_text()
        with self.person.holding_the_hotkey():
            self.speak_in()
        self.wait_for_status(self.inserted)
        self.desktop.kill(self.owner)
        self.wait_for_text(before)
        self.assert_all_is_well_again()

    def test_a_layout_chosen_in_mid_sentence_keeps_the_sentence(self):
        before = self.person.editor_text()
        self.addCleanup(self.desktop.run, ["setxkbmap", "us"])
        with self.person.holding_the_hotkey():
            self.speak_in()
            self.desktop.run(["setxkbmap", "de"])
        self.wait_for_text(before)
        self.assert_all_is_well_again()

    def test_the_hotkey_held_through_the_paste_of_a_recording_from_the_panel(self):
        before = self.person.editor_text()
        self.person.click("Start")
        self.speak_in()
        with self.person.holding_the_hotkey():
            self.person.click("Stop")
            self.wait_for_text(before)
        self.assertEqual(self.person.status(), self.inserted)
        self.assert_all_is_well_again()


class KeyringFaultTest(FaultTest):
    """The keyring at the start of the program. Dictations stay in one language, since the engine in the settings is
    the hosted one, whose token lies in the keyring."""

    settings = {"targetLanguageIdentifier": "en", "translationEngineIdentifier": "openAINatural"}
    inserted = "Inserted transcript."

    def setUp(self):
        super().setUp()
        self.desktop.stop(self.person.quillora)

    def tearDown(self):
        self.replace_keyring()
        self.desktop.run(["secret-tool", "clear", "service", "com.local.Quillora"])

    def replace_keyring(self):
        """Also one that the bus has started meanwhile."""
        for pid in self.desktop.processes("gnome-keyring-daemon"):
            os.kill(pid, signal.SIGKILL)
        wait_for("the end of the keyring", lambda: not self.desktop.processes("gnome-keyring-daemon"))
        self.desktop.start_keyring()

    def type_token(self, token):
        self.person.open_panel()
        wait_for("the panel in front", lambda: b"Quillora" in self.desktop.run(
            ["xdotool", "getactivewindow", "getwindowname"]))
        self.person.type_into("Subscription token", token)
        self.back_to_the_editor()

    def wait_for_stored_token(self, token):
        lookup = ["secret-tool", "lookup", "service", "com.local.Quillora", "account", "openAIClientToken"]
        wait_for("the stored token", lambda: self.desktop.run(lookup) == token.encode())

    def assert_a_token_typed_meanwhile_is_stored_later(self, token, mend):
        self.person.start_quillora()
        self.type_token(token)
        self.assertEqual(self.person.status(), "Ready.")
        self.assert_all_is_well_again()
        mend()
        self.wait_for_stored_token(token)
        self.assert_all_is_well_again()

    def test_killed(self):
        self.desktop.kill(self.desktop.keyring)
        self.assert_a_token_typed_meanwhile_is_stored_later("one", self.replace_keyring)

    def test_locked(self):
        self.desktop.run(["gdbus", "call", "--session", "--dest", "org.freedesktop.secrets", "--object-path",
                          "/org/freedesktop/secrets", "--method", "org.freedesktop.Secret.Service.Lock",
                          "['/org/freedesktop/secrets/collection/login']"])
        self.assert_a_token_typed_meanwhile_is_stored_later("two", self.replace_keyring)

    def test_frozen(self):
        self.desktop.freeze(self.desktop.keyring)
        self.assert_a_token_typed_meanwhile_is_stored_later("three", lambda: self.desktop.thaw(self.desktop.keyring))


class RecognizerDataFaultTest(FaultTest):
    """What the recognizer has learnt, in a folder of the test's own."""

    def setUp(self):
        super().setUp()
        self.desktop.stop(self.person.quillora)
        data = os.path.join(self.desktop.folder, "data")
        self.model = os.path.join(data, "pocketsphinx", "model", "en-us")
        shutil.copytree("/usr/share/pocketsphinx/model/en-us", self.model)
        self.addCleanup(shutil.rmtree, data, ignore_errors=True)
        self.environment = {"XDG_DATA_DIRS": data}

    def start_quillora(self):
        self.person.start_quillora(environment=self.environment)
        self.person.focus_editor()

    def test_cut_short_it_makes_the_recognizer_unavailable_until_it_is_whole(self):
        words = os.path.join(self.model, "en-us.lm.bin")
        with open(words, "rb") as file:
            whole = file.read()
        os.truncate(words, 1_000_000)
        self.start_quillora()
        before = self.person.editor_text()
        wait_for("the model's refusal", self.presses_until_unavailable)
        self.assertEqual(self.person.editor_text(), before)
        with open(words, "wb") as file:
            file.write(whole)
        self.assert_all_is_well_again()

    def presses_until_unavailable(self):
        """The model is loaded in the background: the first press may come before it is known to be broken."""
        with self.person.holding_the_hotkey():
            wait_for("an answer", lambda: self.person.status() != "Requesting permissions...")
        return self.person.status() == "Speech failed: Speech recognizer is unavailable for en-US."

    def test_removed_while_the_program_runs_it_is_not_missed(self):
        self.start_quillora()
        self.assert_the_next_dictation_works()
        shutil.rmtree(self.model)
        self.assert_all_is_well_again()

    def test_missing_at_the_start_a_window_says_so_and_the_status_is_1(self):
        shutil.rmtree(self.model)
        quillora = self.desktop.start([PROGRAM], environment=self.environment)
        wait_for("the message", lambda: self.person.reader.place(
            "Quillora", "Quillora cannot recognize any language on this computer."))
        self.assertIsNone(quillora.poll())
        self.desktop.run(["xdotool", "key", "Escape"])
        self.assertEqual(quillora.wait(10), 1)


class DisplayFaultTest(unittest.TestCase):
    """The X server itself: the program ends, and by itself."""

    def setUp(self):
        self.desktop = self.enterContext(VirtualDesktop())
        write_settings(self.desktop, targetLanguageIdentifier="es")
        self.clip = short_clip(self.desktop.folder)
        self.person = Person(self.desktop, PROGRAM)
        self.person.open_editor()
        self.person.start_quillora(stderr=subprocess.PIPE)
        self.person.focus_editor()

    def assert_the_program_ends_with_the_server(self):
        self.desktop.kill(self.desktop.display)
        self.assertEqual(self.person.quillora.wait(2), 1)
        self.assertEqual(self.person.quillora.stderr.read().splitlines()[-1:],
                         [b"Quillora: the X server has closed the connection."])
        self.assertEqual(self.person.translators(), [])

    def test_closed_while_nothing_happens(self):
        self.assert_the_program_ends_with_the_server()

    def test_closed_while_recording(self):
        self.person.start_translators()
        self.desktop.keys_down(*HOTKEY)
        wait_for("the recording", lambda: self.person.status() == "Listening...")
        self.desktop.play(self.clip.path)
        self.assert_the_program_ends_with_the_server()

    def test_closed_while_a_translation_hangs(self):
        self.person.start_translators()
        for pid in self.person.translators():
            os.kill(pid, signal.SIGSTOP)
        with self.person.holding_the_hotkey():
            self.desktop.play(self.clip.path)
        wait_for("the translation", lambda: self.person.status() == "Translating locally...")
        self.assert_the_program_ends_with_the_server()


if __name__ == "__main__":
    unittest.main(verbosity=2)
