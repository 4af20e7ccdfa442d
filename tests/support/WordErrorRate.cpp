#include "support/WordErrorRate.h"

#include <QRegularExpression>
#include <QStringList>

#include <algorithm>
#include <numeric>
#include <vector>

namespace quillora::test {

namespace {

QStringList words(const QString &text) {
    static const QRegularExpression separators(u"[^\\w']+"_qs,
                                               QRegularExpression::UseUnicodePropertiesOption);
    return text.toLower().split(separators, Qt::SkipEmptyParts);
}

} // namespace

WordErrorRate WordErrorRate::of(const QString &transcript, const QString &spoken) {
    const auto heard = words(transcript);
    const auto said = words(spoken);
    // The edit distance, row by row: distances[i] is that of the first i words heard.
    std::vector<int> distances(static_cast<size_t>(heard.size()) + 1);
    std::iota(distances.begin(), distances.end(), 0);
    for (const auto &saidWord : said) {
        int diagonal = distances[0]++;
        for (size_t i = 1; i < distances.size(); ++i) {
            const int mistaken = diagonal + (heard[static_cast<qsizetype>(i) - 1] != saidWord);
            diagonal = distances[i];
            distances[i] = std::min({mistaken, distances[i] + 1, distances[i - 1] + 1});
        }
    }
    return {distances.back(), static_cast<int>(said.size())};
}

} // namespace quillora::test
