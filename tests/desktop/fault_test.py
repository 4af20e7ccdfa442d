#!/usr/bin/python3
"""Breaks one thing after another around the real program on a real desktop, and looks at the state it is in
afterwards: the status, the keys, the clipboard and the next dictation. The path of the program is the first argument;
what follows is for unittest."""

import os
import resource
import shutil
import signal
import subprocess
import time
import unittest

from desktop_case import PROGRAM, FaultTest  # first: it finds the others

from dictation import HOTKEY, Person, short_clip, write_settings
from virtual_desktop import VirtualDesktop, wait_for

UNAVAILABLE = "Speech failed: Speech recognizer is unavailable for en-US."
TRANSLATOR_STOPPED = ("Translation failed: The on-device translation from English to Spanish has stopped "
                      "unexpectedly.")


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
            self.person.say(self.clip)
        self.person.wait_for_status("Translating locally...")

    def test_killed_between_two_dictations_they_are_replaced(self):
        self.signal_translators(signal.SIGKILL)
        self.assert_all_is_well_again()

    def test_killed_during_a_dictation_they_fail_it(self):
        self.dictate_into_a_frozen_translator()
        before = self.person.editor_text()
        self.signal_translators(signal.SIGKILL)
        self.person.wait_for_status(TRANSLATOR_STOPPED)
        self.assertEqual(self.person.editor_text(), before)
        self.assertNotEqual(self.person.transcript(), "")
        self.assert_all_is_well_again()

    def test_the_sound_server_killed_meanwhile_changes_nothing(self):
        before = self.person.editor_text()
        self.dictate_into_a_frozen_translator()
        self.desktop.kill_sound()
        self.signal_translators(signal.SIGCONT)
        self.wait_for_text(before)
        self.desktop.start_sound()
        self.assert_all_is_well_again()

    def test_the_sound_server_frozen_meanwhile_changes_nothing(self):
        before = self.person.editor_text()
        self.dictate_into_a_frozen_translator()
        self.desktop.freeze_sound()
        self.addCleanup(self.desktop.thaw_sound)
        self.signal_translators(signal.SIGCONT)
        self.wait_for_text(before)
        self.desktop.thaw_sound()
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


class RecognizerFaultTest(FaultTest):
    """The process that recognizes speech."""

    def recognizers(self):
        return self.desktop.processes("quillora-recognizer")

    def say_and_signal_the_recognizer(self, number):
        """Which one it was, and the words that were shown."""
        self.person.say(self.clip)
        shown = self.person.transcript()
        [recognizer] = self.recognizers()
        os.kill(recognizer, number)
        return recognizer, shown

    def words_so_far(self):
        """Of a recognizer that writes no more. What it wrote last may still be on its way to the panel, so this reads on
        until the same words have stood there for half a second."""
        words, since = None, 0

        def stand_there():
            nonlocal words, since
            shown = self.person.transcript()
            if shown != words:
                words, since = shown, time.monotonic()
            return time.monotonic() - since >= 0.5

        wait_for("words that stay", stand_there)
        return words

    def wait_for_another(self, recognizer):
        wait_for("another recognizer", lambda: self.recognizers() not in ([], [recognizer]))

    def say_more(self, shown):
        self.desktop.play(self.clip.path)
        wait_for("more words in the panel", lambda: len(self.person.transcript().split()) > len(shown.split()))

    def lose_no_word_to(self, number):
        before = self.person.editor_text()
        with self.person.holding_the_hotkey():
            recognizer, shown = self.say_and_signal_the_recognizer(number)
            self.wait_for_another(recognizer)
            self.say_more(shown)
        self.wait_for_text(before)
        self.assert_all_is_well_again()

    def test_killed_in_mid_sentence_no_word_is_lost(self):
        self.lose_no_word_to(signal.SIGKILL)

    def test_hanging_in_mid_sentence_no_word_is_lost(self):
        self.lose_no_word_to(signal.SIGSTOP)

    def test_hanging_at_the_release_leaves_the_words_so_far(self):
        before = self.person.editor_text()
        with self.person.holding_the_hotkey():
            self.say_and_signal_the_recognizer(signal.SIGSTOP)
            shown = self.words_so_far()
        self.wait_for_text(before)
        self.assertEqual(self.person.transcript(), shown)
        self.assert_all_is_well_again()

    def test_killed_twice_in_one_dictation_leaves_the_words_so_far(self):
        before = self.person.editor_text()
        with self.person.holding_the_hotkey():
            recognizer, shown = self.say_and_signal_the_recognizer(signal.SIGKILL)
            self.wait_for_another(recognizer)
            self.say_more(shown)
            [recognizer] = self.recognizers()
            os.kill(recognizer, signal.SIGKILL)
            wait_for("the recognizer's end", lambda: self.recognizers() == [])
            shown = self.words_so_far()
            self.assertEqual(self.person.status(), "Listening...")
        self.wait_for_text(before)
        self.assertEqual(self.person.transcript(), shown)
        self.assert_all_is_well_again()

    def test_killed_between_two_dictations_it_is_replaced(self):
        [recognizer] = self.recognizers()
        os.kill(recognizer, signal.SIGKILL)
        wait_for("the recognizer's end", lambda: self.recognizers() == [])
        self.assert_all_is_well_again()


class ApplicationFaultTest(FaultTest):
    """The application that the text is for, the keyboard and the clipboard."""

    def test_closed_before_the_paste_it_misses_the_text_and_nothing_else_happens(self):
        with self.person.holding_the_hotkey():
            self.person.say(self.clip)
            self.desktop.stop(self.person.editor)
        self.person.wait_for_status(self.inserted)
        self.wait_for_clipboard()
        self.person.open_editor()
        self.assert_all_is_well_again()

    def test_busy_until_the_clipboard_is_given_back_it_pastes_the_text_all_the_same(self):
        before = self.person.editor_text()
        with self.person.holding_the_hotkey():
            self.person.say(self.clip)
            self.desktop.freeze(self.person.editor)
            self.addCleanup(self.desktop.thaw, self.person.editor)
        self.person.wait_for_status(self.inserted)
        self.wait_for_clipboard()
        self.desktop.thaw(self.person.editor)
        self.wait_for_text(before)
        self.assert_all_is_well_again()

    def test_minimised_it_comes_back_for_the_text(self):
        before = self.person.editor_text()
        with self.person.holding_the_hotkey():
            self.person.say(self.clip)
            self.desktop.run(["xdotool", "windowminimize", "--sync", self.person.editor_window])
        self.wait_for_text(before)
        self.assert_all_is_well_again()

    def test_on_another_desktop_it_is_gone_to(self):
        before = self.person.editor_text()
        with self.person.holding_the_hotkey():
            self.person.say(self.clip)
            self.desktop.run(["xdotool", "set_desktop", "1"])
            wait_for("the other desktop", lambda: self.desktop.run(["xdotool", "get_desktop"]).strip() == b"1")
        self.wait_for_text(before)
        self.assertEqual(self.desktop.run(["xdotool", "get_desktop"]).strip(), b"0")
        self.assert_all_is_well_again()

    def test_a_clipboard_owner_that_hangs_costs_its_contents_only(self):
        before = self.person.editor_text()
        with self.person.holding_the_hotkey():
            self.person.say(self.clip)
            self.desktop.freeze(self.owner)
        self.wait_for_text(before)
        self.assertEqual(self.desktop.keys_held(), [])
        wait_for("the clipboard's emptiness", lambda: not self.desktop.clipboard("TARGETS"))
        self.copy_something()
        self.assert_all_is_well_again()

    def test_a_clipboard_owner_that_dies_after_the_save_loses_nothing(self):
        before = self.person.editor_text()
        with self.person.holding_the_hotkey():
            self.person.say(self.clip)
        self.person.wait_for_status(self.inserted)
        self.desktop.kill(self.owner)
        self.wait_for_text(before)
        self.assert_all_is_well_again()

    def test_a_layout_chosen_in_mid_sentence_keeps_the_sentence(self):
        before = self.person.editor_text()
        self.addCleanup(self.desktop.run, ["setxkbmap", "us"])
        with self.person.holding_the_hotkey():
            self.person.say(self.clip)
            self.desktop.run(["setxkbmap", "de"])
        self.wait_for_text(before)
        self.assert_all_is_well_again()

    def test_the_hotkey_held_through_the_paste_of_a_recording_from_the_panel(self):
        before = self.person.editor_text()
        self.person.click("Start")
        self.person.say(self.clip)
        with self.person.holding_the_hotkey():
            self.person.click("Stop")
            self.wait_for_text(before)
        self.assertEqual(self.person.status(), self.inserted)
        self.assert_all_is_well_again()


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

    def test_cut_short_it_makes_the_recognizer_unavailable_until_it_is_whole(self):
        words = os.path.join(self.model, "en-us.lm.bin")
        with open(words, "rb") as file:
            whole = file.read()
        os.truncate(words, 1_000_000)
        self.start_quillora(environment=self.environment)
        before = self.person.editor_text()
        wait_for("the model's refusal", self.presses_until_unavailable)
        self.assertEqual(self.person.editor_text(), before)
        with open(words, "wb") as file:
            file.write(whole)
        self.assert_all_is_well_again()

    def presses_until_unavailable(self):
        """The model is loaded in the background: the first press may come before it is known to be broken."""
        with self.person.holding_the_hotkey():
            wait_for("an answer", lambda: self.person.status() in (UNAVAILABLE, "Listening..."))
        return self.person.status() == UNAVAILABLE

    def test_removed_while_the_program_runs_it_is_not_missed(self):
        self.start_quillora(environment=self.environment)
        self.assert_the_next_dictation_works()
        shutil.rmtree(self.model)
        self.assert_all_is_well_again()

    def test_missing_at_the_start_a_window_says_so_but_at_login_the_log_and_the_status_is_1(self):
        """Without the library of the other languages' models, too."""
        shutil.rmtree(self.model)
        folder = os.path.join(self.desktop.folder, "program")
        os.mkdir(folder)
        self.addCleanup(shutil.rmtree, folder)
        for program in (PROGRAM, os.path.join(os.path.dirname(PROGRAM), "quillora-recognizer")):
            shutil.copy2(program, folder)
        quillora = self.desktop.start([os.path.join(folder, os.path.basename(PROGRAM))], environment=self.environment)
        self.addCleanup(self.desktop.stop, quillora)
        wait_for("the message", lambda: self.person.reader.place(
            "Quillora", "Quillora cannot recognize any language on this computer."))
        self.assertIsNone(quillora.poll())
        self.assertEqual(self.desktop.start(quillora.args, environment=self.environment).wait(30), 0, "a second start")
        self.person.wait_for_panel_in_front()  # a key before would be the editor's
        self.desktop.run(["xdotool", "key", "Escape"])
        self.assertEqual(quillora.wait(30), 1)

        at_login = self.desktop.start([quillora.args[0], "--at-login"], environment=self.environment,
                                      stderr=subprocess.PIPE)
        _, complaint = at_login.communicate(timeout=30)
        self.assertIn(b"Quillora cannot recognize any language on this computer. Install", complaint)
        self.assertEqual(at_login.returncode, 1)


class CrashTest(FaultTest):
    """Its memory holds the token, the words and what was copied."""

    def test_no_image_of_its_memory_is_left(self):
        self.desktop.stop(self.person.quillora)
        folder = os.path.join(self.desktop.folder, "crash")
        os.mkdir(folder)
        # As somebody starts it who wants to see dumps of his programs.
        self.start_quillora(cwd=folder, preexec_fn=lambda: resource.setrlimit(
            resource.RLIMIT_CORE, (resource.RLIM_INFINITY, resource.RLIM_INFINITY)))
        os.kill(self.person.quillora.pid, signal.SIGSEGV)
        end = os.waitid(os.P_PID, self.person.quillora.pid, os.WEXITED | os.WNOWAIT)
        self.assertEqual((end.si_code, end.si_status), (os.CLD_KILLED, signal.SIGSEGV))
        self.assertEqual(os.listdir(folder), [])
        self.desktop.stop(self.person.quillora)
        self.start_quillora()

    def test_its_processes_have_one_byte_for_it_at_most(self):
        """Which is also what keeps it from a program that collects such images."""
        self.person.start_translators()
        for pid in [self.person.quillora.pid, *self.person.translators()]:
            with open(f"/proc/{pid}/limits", encoding="ascii") as file:
                limit = next(line for line in file if line.startswith("Max core file size"))
            self.assertEqual(limit.split()[4:6], ["1", "1"])


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
        self.desktop.kill_display()
        self.assertEqual(self.person.quillora.wait(30), 1)
        self.assertEqual(self.person.quillora.stderr.read().splitlines()[-1:],
                         [b"Quillora: the X server has closed the connection."])
        self.assertEqual(self.person.translators(), [])

    def test_closed_while_nothing_happens(self):
        self.assert_the_program_ends_with_the_server()

    def test_closed_while_recording(self):
        self.person.start_translators()
        self.desktop.keys_down(*HOTKEY)
        self.person.say(self.clip)
        self.assert_the_program_ends_with_the_server()

    def test_closed_while_a_translation_hangs(self):
        self.person.start_translators()
        for pid in self.person.translators():
            os.kill(pid, signal.SIGSTOP)
        with self.person.holding_the_hotkey():
            self.person.say(self.clip)
        self.person.wait_for_status("Translating locally...")
        self.assert_the_program_ends_with_the_server()


if __name__ == "__main__":
    unittest.main(verbosity=2)
