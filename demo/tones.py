"""Words as tones, which the smallest of models understands: a letter is a tone."""

import math
import os
import struct
import wave

RATE = 16000

# The files of a model that hears German, by the names that they have in a store. Its German writes every letter as the
# next one.
FILES = {"encoder.onnx": "streaming-nemo-encoder.onnx", "decoder.onnx": "streaming-nemo-decoder.onnx",
         "joiner.onnx": "streaming-nemo-joiner.onnx", "tokens.txt": "tokens-nemo-transducer.txt"}
PARAMETERS = {"family": "nemo-transducer", "decoding": "streaming", "language": "per-stream"}


def in_german(words):
    """What to play so that these are heard."""
    letters = "abcdefghijklmnopqrstuvwxyz"
    return words.translate(str.maketrans(letters, letters[-1] + letters[:-1]))


def write(words, folder, path):
    """Writes a recording. `folder` is that of the models."""
    with open(os.path.join(folder, "tones.txt"), encoding="utf-8") as file:
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
