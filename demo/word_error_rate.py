#!/usr/bin/python3
"""How far a transcript is from what was spoken: the words left out, put in and mistaken. Case and punctuation do not
count, and in writing without blanks a word is a character. The tests, the measurements and the demonstration all count
by this.

usage: word_error_rate.py SPOKEN HEARD
Prints the number of errors and the number of spoken words."""

import re
import sys
from dataclasses import dataclass


@dataclass
class WordErrorRate:
    errors: int
    spoken_words: int

    def share(self):
        return self.errors / max(self.spoken_words, 1)


def word_error_rate(spoken, heard):
    said, got = _words(spoken), _words(heard)
    # The edit distance, row by row: distances[i] is that of the first i words heard.
    distances = list(range(len(got) + 1))
    for number, word in enumerate(said, 1):
        diagonal, distances[0] = distances[0], number
        for i, other in enumerate(got, 1):
            mistaken = diagonal + (word != other)
            diagonal, distances[i] = distances[i], min(mistaken, distances[i] + 1, distances[i - 1] + 1)
    return WordErrorRate(distances[-1], len(said))


# Thai with its vowels and tones, Japanese, Chinese: written without blanks, so that each character counts.
_ONE = "\u0e00-\u0e7f\u3040-\u30ff\u3400-\u9fff"


def _words(text):
    return re.findall(rf"[{_ONE}]|(?:(?![{_ONE}])[\w'])+", text.lower())


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__.split("\n\n")[1].splitlines()[0])
    RATE = word_error_rate(*sys.argv[1:])
    print(RATE.errors, RATE.spoken_words)
