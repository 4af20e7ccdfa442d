#!/usr/bin/python3
"""What planted_faults tells of what earlier runs have found."""

import json
import pathlib
import shutil
import subprocess
import tempfile
import unittest

TOOL = pathlib.Path(__file__).resolve().parents[2] / "tools" / "planted_faults"
FAULTS = {"one that a test notices": "one", "one that no test notices": "two", "one that does not compile": "three",
          "one that was not tried": "four"}


class Table(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.write("src/File.cpp", "\n".join(FAULTS.values()))
        self.write("tools/faults/room.txt", "".join(f"== {name}\nin src/File.cpp\n-{old}\n+\n"
                                                    for name, old in FAULTS.items()))
        shutil.copy(TOOL, self.folder / "tools")
        self.found = {}
        self.note("one", "FileTest: itHoldsOne")
        self.note("two")
        self.note("three", "the compiler: expected ';'")

    def write(self, path, text):
        file = self.folder / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, encoding="utf-8")

    def note(self, old, *noticed):
        self.found[f"room\nsrc/File.cpp\n{old}\n->\n"] = {"noticed": noticed, "seconds": 1}
        self.write("build/planted-faults/found.json", json.dumps(self.found))

    def table(self):
        return subprocess.run([self.folder / "tools" / "planted_faults", "--table"], stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60, check=False, text=True)

    def test_each_fault_that_was_tried_has_a_line_that_says_who_noticed_it(self):
        table = self.table().stdout
        self.assertRegex(table, r"one that a test notices .* FileTest: itHoldsOne\n")
        self.assertRegex(table, r"one that no test notices .* SURVIVES\n")

    def test_one_that_does_not_compile_was_noticed_by_no_test(self):
        self.assertRegex(self.table().stdout, r"one that does not compile .* does not compile: expected ';'\n")

    def test_one_that_does_not_compile_is_counted_apart(self):
        self.assertIn("4 faults, 1 of them unnoticed, 1 that do not compile, 1 not tried\n", self.table().stdout)

    def test_one_that_survives_is_a_failure(self):
        self.assertEqual(self.table().returncode, 1)

    def test_one_that_does_not_compile_is_none(self):
        self.note("two", "FileTest: itHoldsTwo")
        self.assertEqual(self.table().returncode, 0)


if __name__ == "__main__":
    unittest.main()
