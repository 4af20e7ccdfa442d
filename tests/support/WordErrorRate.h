#pragma once

#include <QString>

namespace quillora::test {

/// How far a transcript is from what was spoken: the words left out, put in and mistaken. Case and
/// punctuation do not count. Counted by demo/word_error_rate.py, by which the demonstration counts too.
struct WordErrorRate {
    int errors = 0;
    int spokenWords = 0;

    /// Throws std::runtime_error if that program cannot be run.
    static WordErrorRate of(const QString &transcript, const QString &spoken);

    double percent() const { return spokenWords ? 100.0 * errors / spokenWords : 0; }
    bool operator==(const WordErrorRate &) const = default;
};

} // namespace quillora::test
