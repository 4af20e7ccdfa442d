#!/usr/bin/python3
"""Dictates in a language that a model of the store hears: one that was copied to where models lie, and that understands
tones. The path of the program and the folder of such models are the first two arguments; what follows is for unittest."""

import hashlib
import json
import os
import shutil
import sys
import unittest

TONES = sys.argv.pop(2)

from desktop_case import PROGRAM  # first: it finds the others

import tones
from dictation import Person, write_settings
from virtual_desktop import VirtualDesktop, wait_for

MODEL = "tones-de"


def install(desktop):
    """As a person does who copies a model by hand, and names it in a catalog of his own."""
    folder = os.path.join(desktop.environment["XDG_DATA_HOME"], "Quillora", "models", MODEL, "1")
    os.makedirs(os.path.join(folder, "files"))
    manifest, catalog = [], []
    for name, source in tones.FILES.items():
        path = os.path.join(folder, "files", name)
        shutil.copyfile(os.path.join(TONES, source), path)
        with open(path, "rb") as file:
            checksum = hashlib.sha256(file.read()).hexdigest()
        size = os.path.getsize(path)
        manifest.append({"name": name, "size": size, "sha256": checksum,
                         "modified": os.stat(path).st_mtime_ns // 1000000})
        catalog.append({"name": name, "size": size, "sha256": checksum, "address": f"https://models.example/{name}"})
    with open(os.path.join(folder, "manifest.json"), "w", encoding="utf-8") as file:
        json.dump({"form": 1, "id": MODEL, "version": "1", "files": manifest}, file)
    with open(os.path.join(desktop.environment["XDG_CONFIG_HOME"], "Quillora", "models.json"), "w",
              encoding="utf-8") as file:
        json.dump({"form": 1, "models": [{
            "id": MODEL, "kind": "speech", "version": "1", "languages": ["de"], "engine": "sherpa", "files": catalog,
            "parameters": tones.PARAMETERS}]}, file)


class SpokenLanguageTest(unittest.TestCase):
    def setUp(self):
        self.desktop = self.enterContext(VirtualDesktop())
        write_settings(self.desktop, sourceLocaleIdentifier="de-DE", targetLanguageIdentifier="en")
        self.person = Person(self.desktop, PROGRAM)
        self.person.open_editor()

    def test_german_is_heard_with_an_installed_model(self):
        install(self.desktop)
        self.person.start_quillora()
        self.person.focus_editor()
        clip = os.path.join(self.desktop.folder, "clip.wav")
        tones.write("hello world", TONES, clip)
        with self.person.holding_the_hotkey():
            self.person.wait_for_status("Listening...")
            self.desktop.play(clip)
            # The model's German writes every letter as the next one.
            wait_for("the text", lambda: self.person.transcript() == "ifmmp xpsme")

    def test_german_without_a_model_is_said_to_be_unavailable(self):
        self.person.start_quillora()
        self.person.focus_editor()
        with self.person.holding_the_hotkey():
            self.person.wait_for_status("Speech failed: Speech recognizer is unavailable for de-DE.")


if __name__ == "__main__":
    unittest.main(verbosity=2)
