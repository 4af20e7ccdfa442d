#include "support/WordErrorRate.h"

#include <QByteArrayList>
#include <QProcess>

#include <stdexcept>

namespace quillora::test {

WordErrorRate WordErrorRate::of(const QString &transcript, const QString &spoken) {
    QProcess counting;
    counting.start(QStringLiteral(QUILLORA_WORD_ERROR_RATE), {spoken, transcript});
    counting.waitForFinished(-1); // an hour of speech is a hundred million steps
    const auto numbers = counting.readAllStandardOutput().simplified().split(' ');
    if (counting.exitCode() != 0 || numbers.size() != 2)
        throw std::runtime_error("word_error_rate.py fails: " + counting.errorString().toStdString());
    return {numbers[0].toInt(), numbers[1].toInt()};
}

} // namespace quillora::test
