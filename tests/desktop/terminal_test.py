#!/usr/bin/python3
"""Dictates into a terminal that pastes the primary selection alone, beside a clipboard manager that takes over from
programs that end. The path of the program is the first argument; what follows is for unittest."""

import os
import unittest

from desktop_case import PROGRAM  # first: it finds the others

from dictation import Person, short_clip, write_settings
from virtual_desktop import VirtualDesktop, wait_for

COPIED = b"what the user had copied before"
MARKED = b"what the user had marked before"


class TerminalTest(unittest.TestCase):
    def setUp(self):
        self.desktop = self.enterContext(VirtualDesktop())
        write_settings(self.desktop, targetLanguageIdentifier="es")
        self.clip = short_clip(self.desktop.folder)
        self.person = Person(self.desktop, PROGRAM)
        self.person.start_quillora()
        self.open_terminal()

    def open_terminal(self):
        """Whatever is typed or pasted into it ends up in a file."""
        self.received = os.path.join(self.desktop.folder, "received")
        terminal = self.desktop.start_daemon(["xterm", "-e", "sh", "-c", f"stty raw -echo; cat > {self.received}"],
                                             environment={"LC_ALL": "C.UTF-8"})
        windows = wait_for("the terminal", lambda: self.desktop.run(
            ["xdotool", "search", "--onlyvisible", "--class", "XTerm"]).split())
        self.assertIsNone(terminal.poll())
        self.desktop.run(["xdotool", "windowactivate", "--sync", windows[-1].decode()])
        wait_for("the terminal's shell", lambda: os.path.exists(self.received))

    def text(self):
        with open(self.received, encoding="utf-8") as file:
            return file.read()

    def have(self, content, selection):
        """On the selection, in a program that keeps it for as long as it owns it."""
        path = os.path.join(self.desktop.folder, selection)
        with open(path, "wb") as file:
            file.write(content)
        self.desktop.start(["xclip", "-quiet", "-selection", selection, "-t", "UTF8_STRING", "-i", path])
        wait_for(f"the {selection} selection", lambda: self.held(selection) == content)

    def held(self, selection):
        return self.desktop.run(["xclip", "-selection", selection, "-o", "-t", "UTF8_STRING"])

    def dictate(self):
        with self.person.holding_the_hotkey():
            self.person.say(self.clip)
        self.person.wait_for_status("Inserted translation.")

    def test_the_text_arrives_and_both_selections_come_back(self):
        self.have(COPIED, "clipboard")
        self.have(MARKED, "primary")
        self.dictate()
        self.assertNotEqual(self.person.translation(), "")
        wait_for("the text in the terminal", lambda: self.text() == self.person.translation())
        wait_for("the clipboard's return", lambda: self.held("clipboard") == COPIED)
        wait_for("the primary selection's return", lambda: self.held("primary") == MARKED)

    def dictate_beside_a_clipboard_manager(self):
        """Ends with the clipboard given back."""
        self.desktop.start_daemon(["xfsettingsd", "--disable-wm-check"])
        wait_for("the clipboard manager", lambda: self.desktop.is_owned("CLIPBOARD_MANAGER"))
        self.have(COPIED, "clipboard")
        self.dictate()
        wait_for("the clipboard's return", lambda: self.held("clipboard") == COPIED)

    def test_what_was_given_back_outlives_the_program_beside_a_clipboard_manager(self):
        self.dictate_beside_a_clipboard_manager()
        self.assertTrue(self.desktop.stop(self.person.quillora, seconds=5), "it did not end when it was asked to")
        self.assertEqual(self.held("clipboard"), COPIED)

    def test_what_was_given_back_outlives_the_loss_of_the_panels_connection(self):
        self.dictate_beside_a_clipboard_manager()
        panel = self.desktop.run(["xdotool", "search", "--pid", str(self.person.quillora.pid)]).split()[0]
        self.desktop.run(["xdotool", "windowkill", panel.decode()])
        self.assertEqual(self.person.quillora.wait(5), 1)
        self.assertEqual(self.held("clipboard"), COPIED)


if __name__ == "__main__":
    unittest.main(verbosity=2)
