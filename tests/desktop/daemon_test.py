#!/usr/bin/python3
"""A program that a desktop needs, and its end."""

import os
import signal
import subprocess
import sys
import time
import unittest

import desktop_case  # noqa: F401 - finds the others

import virtual_desktop
from virtual_desktop import DesktopError, Programs, wait_for

TWO_TESTS = """
import unittest
from virtual_desktop import Programs, wait_for

class TwoTests(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.programs = cls.enterClassContext(Programs())

    def test_1(self):
        print(self.programs.start(["sleep", "600"]).pid, flush=True)
        wait_for("what never happens", lambda: False, seconds=600)

    def test_2(self):
        print("the next one", flush=True)

unittest.main()
"""


class DaemonTest(unittest.TestCase):
    def setUp(self):
        self.programs = self.enterContext(Programs())

    def test_one_that_dies_ends_every_wait_at_once_by_its_name(self):
        self.programs.start_daemon(["sh", "-c", "echo no socket >&2; exit 7"])
        begin = time.monotonic()
        with self.assertRaises(DesktopError) as raised:
            wait_for("what never happens", lambda: False, seconds=600)
        self.assertEqual(str(raised.exception), "sh -c echo no socket >&2; exit 7 ended by itself, with status 7. "
                                                "Its last words:\nno socket")
        self.assertLess(time.monotonic() - begin, 300)

    def test_one_that_is_killed_does_so_too(self):
        daemon = self.programs.start_daemon(["sleep", "600"])
        daemon.kill()
        with self.assertRaisesRegex(DesktopError, "^sleep 600 ended by itself, with signal 9"):
            wait_for("what never happens", lambda: False, seconds=600)

    def test_one_that_is_stopped_or_may_end_ends_nothing(self):
        self.programs.stop(self.programs.start_daemon(["sleep", "600"]))
        short = self.programs.start_daemon(["true"])
        self.programs.expect_end(short)
        short.wait()
        self.assertTrue(wait_for("what is so", lambda: True))
        with self.assertRaisesRegex(DesktopError, "^what never happens did not happen within 0 s$"):
            wait_for("what never happens", lambda: False, seconds=0)

    def test_a_run_of_tests_that_is_asked_to_end_ends_with_all_that_it_has_started(self):
        run = self.programs.start([sys.executable, "-c", TWO_TESTS], stdout=subprocess.PIPE,
                                  environment={"PYTHONPATH": os.path.dirname(virtual_desktop.__file__)})
        pid = int(run.stdout.readline())
        run.send_signal(signal.SIGTERM)
        self.assertEqual(run.communicate(timeout=300)[0], b"")
        self.assertFalse(os.path.exists(f"/proc/{pid}"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
