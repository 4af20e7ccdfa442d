#!/usr/bin/python3
"""What the program does when its keyring is absent, locked, hangs or dies, before and after the start. The path of the
program is the first argument; what follows is for unittest."""

import os
import signal
import unittest

from desktop_case import FaultTest  # first: it finds the others

from virtual_desktop import wait_for

ABSENCE = 30


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

    def wait_for_stored_token(self, token, seconds=20):
        lookup = ["secret-tool", "lookup", "service", "com.local.Quillora", "account", "openAIClientToken"]
        wait_for("the stored token", lambda: self.desktop.run(lookup) == token.encode(), seconds)

    def assert_a_token_typed_meanwhile_is_stored_later(self, token, mend, seconds=20):
        self.person.start_quillora()
        self.type_token(token)
        self.assertEqual(self.person.status(), "Ready.")
        self.assert_all_is_well_again()
        mend()
        self.wait_for_stored_token(token, seconds)
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
        self.assert_a_token_typed_meanwhile_is_stored_later(
            "three", lambda: self.desktop.thaw(self.desktop.keyring), ABSENCE + 20)


if __name__ == "__main__":
    unittest.main(verbosity=2)
