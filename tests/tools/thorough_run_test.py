#!/usr/bin/python3
"""A thorough run does all of its parts, whatever becomes of each, and says so in one table."""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

TEST = pathlib.Path(__file__).resolve().parents[2] / "test"
PARTS = ["tests", "soak", "pipewire", "kills", "hour", "stalls", "lint", "neon", "addresses", "fuzzers", "threads"]

# Each writes down what it is called with, and fails if that is what FAILS names.
STUB = """#!/bin/sh
echo "$(basename "$0") $*" >>"$CALLS"
case "$(basename "$0") $*" in $FAILS) exit 1 ;; esac
"""
CMAKE = STUB + """
case "$*" in "--build --preset release"*)
    mkdir -p build/release && : >build/release/quillora && chmod +x build/release/quillora ;;
esac
"""
CTEST = STUB + 'echo "100% tests passed, 0 tests failed out of 3"\n'
SOAK = STUB + "echo flat\n"


class ThoroughRun(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        shutil.copy(TEST, self.folder / "test")
        for path, text in {"tools/cmake": CMAKE, "tools/ctest": CTEST, "demo/soak": SOAK, "tests/fuzz/run": STUB,
                           "build/release/bench/ModelsWindowBench": STUB, "build/release/bench/ModelStoreBench": STUB,
                           "packaging/install-dependencies": STUB, "packaging/fetch-speech-library": STUB,
                           "tests/platform/linux/translation/neural/neon/compare": STUB,
                           "packaging/lint": STUB}.items():
            file = self.folder / path
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(text, encoding="utf-8")
            file.chmod(0o755)

    def run_test(self, *arguments, fails="nothing"):
        environment = os.environ | {"PATH": f"{self.folder}/tools:{os.environ['PATH']}", "FAILS": fails,
                                    "CALLS": str(self.folder / "calls")}
        return subprocess.run([self.folder / "test", *arguments], env=environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60, check=False, text=True)

    def calls(self):
        return (self.folder / "calls").read_text(encoding="utf-8").splitlines()

    def table(self, run):
        """The parts with their results, in the table's order."""
        rows = run.stdout[run.stdout.index("\npart "):].splitlines()[2:]
        self.assertRegex(rows[-1], r"^together +\d+:\d\d ")
        return [(row.split()[0], re.search(r"passed|FAILED|not run", row)[0]) for row in rows[:-1]]

    def test_every_part_is_done_and_stands_in_the_table(self):
        run = self.run_test("--thorough")
        self.assertEqual(run.returncode, 0, run.stdout)
        self.assertEqual(self.table(run), [(part, "passed") for part in PARTS])
        self.assertIn("every test (100% tests passed, 0 tests failed out of 3)\n", run.stdout)
        self.assertIn("beside the other parts (flat)\n", run.stdout)
        for call in ["soak build/release/quillora 500", "ModelsWindowBench ", "ModelStoreBench installation",
                     "ctest --test-dir build/asan --output-on-failure --no-tests=error", "lint ", "run build/fuzz 60",
                     "compare ", "ctest --test-dir build/tsan --output-on-failure --no-tests=error -L threads"]:
            self.assertIn(call, self.calls())

    def test_everything_is_installed_once_and_built_once(self):
        self.run_test("--thorough")
        for call in ["install-dependencies ", "fetch-speech-library ", "cmake --build --preset release"]:
            self.assertEqual(self.calls().count(call), 1, call)

    def test_a_part_alone_installs_and_builds_what_it_needs(self):
        for part in PARTS:
            with self.subTest(part):
                (self.folder / "calls").write_text("", encoding="utf-8")
                self.assertEqual(self.run_test("--part", part).returncode, 0)
                calls = self.calls()
                self.assertEqual(calls[:2], ["install-dependencies ", "fetch-speech-library "])
                is_of_release = part in ["tests", "soak", "pipewire", "kills", "hour", "stalls", "lint"]
                self.assertEqual(calls.count("cmake --build --preset release"), int(is_of_release))

    def test_a_part_that_fails_keeps_no_other_from_its_turn(self):
        for fails, part in {"lint*": "lint", "run*": "fuzzers", "soak*": "soak", "ModelsWindow*": "stalls",
                            "ModelStore*": "stalls", "*preset?asan": "addresses", "compare*": "neon",
                            "install*packages.txt": "neon"}.items():
            with self.subTest(part):
                run = self.run_test("--thorough", fails=fails)
                self.assertEqual(run.returncode, 1, run.stdout)
                self.assertEqual(self.table(run),
                                 [(each, "FAILED" if each == part else "passed") for each in PARTS])

    def test_where_nothing_was_built_there_is_nothing_to_try(self):
        run = self.run_test("--thorough", fails="*preset?release")
        self.assertEqual(run.returncode, 1, run.stdout)
        self.assertEqual(self.table(run), [(each, "FAILED" if each == "tests" else "not run") for each in PARTS])

    def test_what_a_sanitizer_wrote_down_is_a_failure(self):
        reports = self.folder / "build/asan/reports"
        ctest = self.folder / "tools/ctest"
        ctest.write_text(CTEST + f'[ "$2" != build/asan ] || echo "1: ERROR: leak" >{reports}/address.1\n',
                         encoding="utf-8")
        run = self.run_test("--part", "addresses")
        self.assertEqual(run.returncode, 1, run.stdout)
        self.assertIn("ERROR: leak", run.stdout)

    def test_a_plain_run_does_the_tests_alone(self):
        run = self.run_test()
        self.assertEqual(run.returncode, 0, run.stdout)
        self.assertEqual([call.split()[0] for call in self.calls()],
                         ["install-dependencies", "fetch-speech-library", "cmake", "cmake", "ctest"])

    def test_without_what_it_needs_a_run_fails(self):
        run = self.run_test(fails="install*")
        self.assertEqual(run.returncode, 1, run.stdout)
        self.assertEqual(self.calls(), ["install-dependencies "])

    def test_the_parts_are_listed_and_done_by_themselves(self):
        self.assertEqual([line.split()[0] for line in self.run_test("--list").stdout.splitlines()], PARTS)
        self.assertEqual(self.run_test("--part", "lint").returncode, 0)
        self.assertEqual(self.calls()[-1], "lint ")

    def test_a_part_that_nobody_knows_is_said_so(self):
        for arguments in [("--part",), ("--part", "none")]:
            run = self.run_test(*arguments)
            self.assertEqual(run.returncode, 2)
            self.assertRegex(run.stdout, r"^there is no part \"\w*\"; --list names them\n$")


if __name__ == "__main__":
    sys.exit(unittest.main())
