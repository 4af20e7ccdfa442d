#!/usr/bin/python3
"""What the program does when its keyring is absent, locked, hangs or dies, before and after the start. The path of the
program is the first argument; what follows is for unittest."""

import os
import shutil
import signal
import time
import unittest

from gi.repository import Gio, GLib

from desktop_case import PROGRAM, FaultTest  # first: it finds the others

from dictation import Backend, store_token, stored_token
from virtual_desktop import VirtualDesktop, wait_for

PASSWORD = b"demonstration"  # that the desktop's keyring is unlocked with
REFUSED = "Translation failed: This translation backend asks for a subscription token."
ABSENCE = 30
LOGIN = "/org/freedesktop/secrets/collection/login"
SECRETS = ["gdbus", "call", "--session", "--dest", "org.freedesktop.secrets", "--object-path",
           "/org/freedesktop/secrets", "--method"]


class UnservedDesktop(VirtualDesktop):
    """Its bus knows of no keyring that it could start."""

    def bus_configuration(self):
        services = self._private("services")
        for name in os.listdir("/usr/share/dbus-1/services"):
            if "keyring" not in name and "secret" not in name.lower():
                os.symlink(os.path.join("/usr/share/dbus-1/services", name), os.path.join(services, name))
        path = os.path.join(self.folder, "bus.conf")
        with open(path, "w", encoding="utf-8") as file:
            file.write(f"""<busconfig><type>session</type><listen>unix:dir={self.folder}</listen>
                <servicedir>{services}</servicedir><policy context="default"><allow own="*"/>
                <allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/></policy></busconfig>""")
        return f"--config-file={path}"


class KeyringTest(FaultTest):
    """Each test starts the program in a state of the keyring of its own. Dictations stay in one language, since the
    engine in the settings is the hosted one, whose token lies in the keyring."""

    settings = {"targetLanguageIdentifier": "en", "translationEngineIdentifier": "openAINatural"}
    inserted = "Inserted transcript."

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.desktop.stop(cls.person.quillora)

    def setUp(self):
        super().setUp()
        self.addCleanup(self.mend)

    def mend(self):
        self.replace_keyring()
        self.desktop.run(["secret-tool", "clear", "service", "com.local.Quillora"])

    def start(self):
        self.start_quillora()
        self.addCleanup(self.desktop.stop, self.person.quillora)

    # What happens to the keyring

    def end_keyring(self):
        """Also one that the bus has started meanwhile."""
        self.desktop.expect_end(self.desktop.keyring)
        for pid in self.desktop.processes("gnome-keyring-daemon"):
            os.kill(pid, signal.SIGKILL)
        wait_for("the end of the keyring", lambda: not self.desktop.processes("gnome-keyring-daemon"))

    def replace_keyring(self):
        self.end_keyring()
        self.desktop.start_keyring()

    def lock_keyring(self):
        self.desktop.run([*SECRETS, "org.freedesktop.Secret.Service.Lock",
                          f"['{LOGIN}']"])

    def unlock_keyring(self):
        self.call_with_password("UnlockWithMasterPassword", "o", LOGIN)

    def make_collection(self):
        label = {"org.freedesktop.Secret.Collection.Label": GLib.Variant("s", "login")}
        self.call_with_password("CreateWithMasterPassword", "a{sv}", label)

    def call_with_password(self, method, kind, argument):
        """As a login does, which knows the password and asks nobody."""
        bus = Gio.DBusConnection.new_for_address_sync(
            self.desktop.environment["DBUS_SESSION_BUS_ADDRESS"],
            Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION)

        def call(interface, method, arguments):
            return bus.call_sync("org.freedesktop.secrets", "/org/freedesktop/secrets", interface, method, arguments,
                                 None, Gio.DBusCallFlags.NONE, 5000).unpack()

        plain = GLib.Variant("(sv)", ("plain", GLib.Variant("s", "")))
        _, session = call("org.freedesktop.Secret.Service", "OpenSession", plain)
        secret = (session, b"", PASSWORD, "text/plain")
        call("org.gnome.keyring.InternalUnsupportedGuiltRiddenInterface", method,
             GLib.Variant(f"({kind}(oayays))", (argument, secret)))

    # What a person does and finds

    def type_token(self, token):
        self.person.open_panel()
        self.person.wait_for_panel_in_front()
        before = self.letters_of_the_token()
        self.person.type_into("Subscription token", token)
        # With a screen reader about, the toolkit handles a key only once the reader has heard of it; what is still
        # on its way when the panel closes is lost.
        wait_for("the typed letters", lambda: self.letters_of_the_token() == before + len(token))

    def letters_of_the_token(self):
        return self.person.reader.length("Quillora", "Subscription token") or 0

    def questions(self):
        """The keyring's dialogs on the screen."""
        return self.desktop.run(["xdotool", "search", "--onlyvisible", "--class", "gcr-prompter"]).split()

    def wait_for_question(self):
        wait_for("the keyring's dialog", lambda: self.questions() and self.desktop.run(
            ["xdotool", "getactivewindow"]).split() == self.questions())

    def wait_for_the_panel(self):
        wait_for("the end of the dialog", lambda: not self.questions())
        self.person.wait_for_panel_in_front()
        self.assertTrue(self.is_panel_open())

    def is_panel_open(self):
        return self.person.reader.place("Quillora", "Subscription token") is not None

    def wait_for_stored_token(self, token, seconds=60):
        """A keyring that took too long once counts as absent for 30 s."""
        def found():
            return (f"the stored token (it is {stored_token(self.desktop)!r}; "
                    f"{self.letters_of_the_token()} letters were typed)")
        wait_for(found, lambda: stored_token(self.desktop) == token, seconds)

    def assert_a_token_typed_meanwhile_is_stored_later(self, token, mend, seconds=60):
        self.type_token(token)
        self.back_to_the_editor()
        self.assertEqual(self.person.status(), "Ready.")
        self.assert_all_is_well_again()
        mend()
        self.wait_for_stored_token(token, seconds)
        self.assertEqual(self.person.status(), self.inserted)
        self.assert_all_is_well_again()


class KeyringAtTheStartTest(KeyringTest):
    def test_killed(self):
        self.desktop.kill(self.desktop.keyring)
        self.start()
        self.assert_a_token_typed_meanwhile_is_stored_later("one", self.replace_keyring)

    def test_locked_it_is_unlocked_where_the_user_does_so_when_asked(self):
        self.lock_keyring()
        self.start()
        self.type_token("two")
        self.wait_for_question()
        self.assertTrue(self.is_panel_open())
        self.desktop.run(["xdotool", "type", PASSWORD.decode()])
        self.desktop.run(["xdotool", "key", "Return"])
        self.wait_for_stored_token("two")
        self.wait_for_the_panel()
        self.assertEqual(self.person.status(), "Ready.")
        self.assert_all_is_well_again()

    def test_locked_and_not_unlocked_when_asked(self):
        self.lock_keyring()
        self.start()
        self.type_token("seven")
        self.wait_for_question()
        # Its dialog goes at once; a busy keyring says later that it has been answered.
        self.desktop.freeze(self.desktop.keyring)
        self.desktop.run(["xdotool", "key", "Escape"])
        wait_for("the end of the dialog", lambda: not self.questions())
        time.sleep(1)  # nobody waits for this: so long is the keyring busy
        self.desktop.thaw(self.desktop.keyring)
        self.wait_for_the_panel()
        self.back_to_the_editor()
        self.assertEqual(self.person.status(), "Ready.")
        self.assert_all_is_well_again()
        self.unlock_keyring()
        self.wait_for_stored_token("seven")
        self.assert_all_is_well_again()

    def test_locked_it_is_not_asked_for_by_a_dictation(self):
        self.lock_keyring()
        self.start()
        self.assert_all_is_well_again()
        self.assertEqual(self.questions(), [])

    def test_frozen(self):
        self.desktop.freeze(self.desktop.keyring)
        self.start()
        self.assert_a_token_typed_meanwhile_is_stored_later(
            "three", lambda: self.desktop.thaw(self.desktop.keyring), ABSENCE + 20)

    def test_without_a_collection_until_one_is_made(self):
        self.end_keyring()
        kept = os.path.join(self.desktop.environment["XDG_DATA_HOME"], "keyrings")
        shutil.move(kept, kept + "-before")
        os.mkdir(kept)
        with open(os.path.join(kept, "default"), "w", encoding="ascii") as file:
            file.write("login")  # is the default collection as soon as it exists
        self.addCleanup(shutil.move, kept + "-before", kept)
        self.addCleanup(shutil.rmtree, kept, ignore_errors=True)
        self.addCleanup(self.end_keyring)
        self.start()
        self.assert_a_token_typed_meanwhile_is_stored_later("four", self.make_collection)


class KeyringDuringTheRunTest(KeyringTest):
    def test_killed(self):
        self.start()
        self.desktop.kill(self.desktop.keyring)
        self.assert_a_token_typed_meanwhile_is_stored_later("five", self.replace_keyring)

    def test_frozen_it_costs_one_key_a_moment_and_the_others_nothing(self):
        self.start()
        self.type_token("")
        self.desktop.freeze(self.desktop.keyring)
        token = "a-key-of-forty-letters-that-would-take-32"
        start = time.monotonic()
        self.desktop.run(["xdotool", "type", token])
        self.assertEqual(self.person.status(), "Ready.")
        # Half of what they would take at 800 ms each.
        self.assertLess(time.monotonic() - start, 0.4 * len(token))
        self.back_to_the_editor()
        self.assert_all_is_well_again()
        self.desktop.thaw(self.desktop.keyring)
        self.wait_for_stored_token(token, ABSENCE + 20)
        self.assertEqual(self.person.status(), self.inserted)
        self.assert_all_is_well_again()


class AbsentKeyringTest(KeyringTest):
    make_desktop = UnservedDesktop

    def test_what_is_typed_is_stored_once_there_is_a_keyring(self):
        self.end_keyring()
        self.start()
        self.assertEqual(self.desktop.processes("gnome-keyring-daemon"), [])
        self.assert_a_token_typed_meanwhile_is_stored_later("six", self.desktop.start_keyring)


class HostedKeyringTest(KeyringTest):
    """Into a language that only a backend translates into, and for the right token only."""

    inserted = "Inserted translation."

    @classmethod
    def arrange(cls):
        backend = Backend(cls.desktop, PROGRAM)
        backend.choose()
        cls.token = backend.token

    def setUp(self):
        super().setUp()
        store_token(self.desktop, self.token)

    def assert_a_dictation_is_refused(self):
        self.back_to_the_editor()
        before = self.person.editor_text()
        with self.person.holding_the_hotkey():
            self.person.say(self.clip)
        self.person.wait_for_status(REFUSED)
        self.assertEqual(self.desktop.keys_held(), [])
        self.assertEqual(self.person.editor_text(), before)
        self.wait_for_clipboard()
        self.back_to_the_editor()

    def test_unlocked_after_the_start_its_token_is_read_and_sent(self):
        self.lock_keyring()
        self.start()
        self.assert_a_dictation_is_refused()
        self.unlock_keyring()
        wait_for("the token in the panel",
                 lambda: self.person.reader.length("Quillora", "Subscription token") == len(self.token))
        self.assertEqual(self.person.status(), REFUSED)
        self.assert_all_is_well_again()

    def test_frozen_after_the_start_it_costs_no_dictation(self):
        self.start()
        self.desktop.freeze(self.desktop.keyring)
        self.assert_all_is_well_again()
        self.desktop.thaw(self.desktop.keyring)
        self.assert_all_is_well_again()

    def test_killed_after_the_start_it_costs_no_dictation(self):
        self.start()
        self.desktop.kill(self.desktop.keyring)
        self.assert_all_is_well_again()
        self.replace_keyring()
        self.assert_all_is_well_again()

    def test_frozen_at_the_start_its_token_is_read_and_sent_later(self):
        self.desktop.freeze(self.desktop.keyring)
        self.start()
        self.assert_a_dictation_is_refused()
        self.desktop.thaw(self.desktop.keyring)
        wait_for("the token in the panel",
                 lambda: self.person.reader.length("Quillora", "Subscription token") == len(self.token), ABSENCE + 20)
        self.assertEqual(self.person.status(), REFUSED)
        self.assert_all_is_well_again()


if __name__ == "__main__":
    unittest.main(verbosity=2)
