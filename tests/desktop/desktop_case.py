"""What the tests share that break something around the real program on a real desktop. The path of the program is the
first argument of the test."""

import os
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "demo"))

from dictation import Person, short_clip, write_settings  # noqa: E402
from virtual_desktop import VirtualDesktop, wait_for  # noqa: E402

PROGRAM = os.path.abspath(sys.argv.pop(1)) if len(sys.argv) > 1 else ""
HELD_BACK = b"what the user had copied before"


class FaultTest(unittest.TestCase):
    """A desktop for all the tests of a class. Whatever a test breaks it mends."""

    make_desktop = VirtualDesktop
    make_clip = staticmethod(short_clip)
    settings = {"targetLanguageIdentifier": "es"}
    inserted = "Inserted translation."

    @classmethod
    def setUpClass(cls):
        cls.desktop = cls.enterClassContext(cls.make_desktop())
        cls.arrange()
        cls.clip = cls.make_clip(cls.desktop.folder)
        cls.person = Person(cls.desktop, PROGRAM)
        cls.person.open_editor()
        cls.person.start_quillora()

    @classmethod
    def arrange(cls):
        """What is there before the program starts."""
        write_settings(cls.desktop, **cls.settings)

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

    def start_quillora(self, **options):
        """`options` are those of the desktop's `start_daemon`."""
        self.person.start_quillora(**options)
        self.person.focus_editor()

    def back_to_the_editor(self):
        """From the panel too, which opens by itself when something failed."""
        self.person.close_panel()
        self.person.focus_editor()

    # What a person finds

    def wait_for_text(self, before):
        """That a dictation ended well in the editor."""
        self.person.wait_for_status(self.inserted)
        wait_for("the text in the editor", lambda: self.person.editor_text() == before + self.person.translation())
        self.assertNotEqual(self.person.translation(), "")

    def wait_for_clipboard(self):
        """That it holds what the user had copied."""
        wait_for("the clipboard's return", lambda: self.desktop.clipboard("UTF8_STRING") == HELD_BACK)

    def assert_all_is_well_again(self):
        self.assertEqual(self.desktop.keys_held(), [])
        self.wait_for_clipboard()
        self.assert_the_next_dictation_works()

    def assert_the_next_dictation_works(self):
        self.back_to_the_editor()
        before = self.person.editor_text()
        after, _ = self.person.speak(self.clip)
        self.assertEqual(after, before + self.person.translation())
        self.person.wait_for_status(self.inserted)
        self.assertEqual(self.desktop.keys_held(), [])
        self.wait_for_clipboard()
