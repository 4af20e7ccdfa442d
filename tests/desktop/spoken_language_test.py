#!/usr/bin/python3
"""Dictates in a language that a model of the store hears: one that was copied to where models lie, and that understands
tones. The path of the program and the folder of such models are the first two arguments; what follows is for unittest."""

import hashlib
import json
import math
import os
import shutil
import struct
import sys
import unittest
import wave

TONES = sys.argv.pop(2)

from desktop_case import PROGRAM  # first: it finds the others

from dictation import Person, write_settings
from virtual_desktop import VirtualDesktop, wait_for

MODEL = "tones-de"
RATE = 16000
FILES = {"encoder.onnx": "streaming-nemo-encoder.onnx", "decoder.onnx": "streaming-nemo-decoder.onnx",
         "joiner.onnx": "streaming-nemo-joiner.onnx", "tokens.txt": "tokens-nemo-transducer.txt"}


def say(words, path):
    with open(os.path.join(TONES, "tones.txt"), encoding="utf-8") as file:
        tones = dict(line.rstrip("\n").split("\t") for line in file)
    length, edge = int(0.12 * RATE), int(0.025 * RATE)
    samples = [0] * (RATE // 2)
    for letter in words:
        for i in range(length):
            loudness = 0.5 - 0.5 * math.cos(math.pi * min(1, min(i, length - 1 - i) / edge))
            samples.append(int(9000 * loudness * math.sin(2 * math.pi * float(tones[letter]) * i / RATE)))
        samples += [0] * length
    with wave.open(path, "wb") as file:
        file.setparams((1, 2, RATE, 0, "NONE", None))
        file.writeframes(struct.pack(f"<{len(samples)}h", *samples))


def install(desktop):
    """As a person does who copies a model by hand, and names it in a catalog of his own."""
    folder = os.path.join(desktop.environment["XDG_DATA_HOME"], "Quillora", "models", MODEL, "1")
    os.makedirs(os.path.join(folder, "files"))
    manifest, catalog = [], []
    for name, source in FILES.items():
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
            "parameters": {"family": "nemo-transducer", "decoding": "streaming", "language": "per-stream"}}]}, file)


class SpokenLanguageTest(unittest.TestCase):
    def setUp(self):
        self.desktop = VirtualDesktop()
        self.desktop.__enter__()
        self.addCleanup(self.desktop.__exit__)
        write_settings(self.desktop, sourceLocaleIdentifier="de-DE", targetLanguageIdentifier="en")
        self.person = Person(self.desktop, PROGRAM)
        self.person.open_editor()

    def test_german_is_heard_with_an_installed_model(self):
        install(self.desktop)
        self.person.start_quillora()
        self.person.focus_editor()
        clip = os.path.join(self.desktop.folder, "clip.wav")
        say("hello world", clip)
        with self.person.holding_the_hotkey():
            self.person.wait_for_status("Listening...")
            self.desktop.run(["paplay", "--device=microphone", clip])
            # The model's German writes every letter as the next one.
            wait_for("the text", lambda: self.person.transcript() == "ifmmp xpsme")

    def test_german_without_a_model_is_said_to_be_unavailable(self):
        self.person.start_quillora()
        self.person.focus_editor()
        with self.person.holding_the_hotkey():
            self.person.wait_for_status("Speech failed: Speech recognizer is unavailable for de-DE.")


if __name__ == "__main__":
    unittest.main(verbosity=2)
