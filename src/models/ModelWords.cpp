#include "models/ModelWords.h"

#include "platform/ModelVersion.h"

#include <cmath>

using namespace Qt::StringLiterals;

namespace quillora {

using platform::isNewer;
using platform::ModelChecksums;
using platform::ModelDescription;
using platform::ModelProgress;
using platform::ModelSizeClass;
using platform::ModelState;

namespace {

constexpr double kilobyte = 1000;
constexpr double megabyte = 1000 * kilobyte;
constexpr double gigabyte = 1000 * megabyte;

/// With one digit after the point where that matters.
QString number(double value) {
    const double tenths = std::round(value * 10) / 10;
    const bool isRound = value >= 10 || tenths == std::floor(tenths);
    return QString::number(isRound ? std::round(value) : tenths, 'f', isRound ? 0 : 1);
}

/// The scores that are published for translations, from 0 to 100, say little to most people.
QString inWords(double comet) {
    if (comet >= 88)
        return u"Excellent"_s;
    if (comet >= 86)
        return u"Very good"_s;
    if (comet >= 84)
        return u"Good"_s;
    return u"Fair"_s;
}

/// Where words that measure something are known, these; else what was measured, which nobody need guess at.
QString scoreInWords(const ModelDescription &description) {
    if (!description.score)
        return u"Quality not stated"_s;
    const auto &[value, measure, source] = *description.score;
    if (measure.contains(u"COMET"_s, Qt::CaseInsensitive))
        return inWords(value <= 1 ? 100 * value : value); // published in either way
    if (measure.contains(u"word error rate"_s, Qt::CaseInsensitive))
        return u"Mishears %1 words in 100"_s.arg(number(value));
    return measure + u' ' + QString::number(value);
}

QString counted(qint64 count, const QString &unit) {
    return QString::number(count) + u' ' + unit + (count == 1 ? QString() : u"s"_s);
}

QString timeLeft(std::chrono::seconds time) {
    if (time < std::chrono::minutes(1))
        return counted(std::max<qint64>(1, time.count()), u"second"_s);
    if (time < std::chrono::hours(1))
        return counted((time.count() + 59) / 60, u"minute"_s);
    return counted((time.count() + 3599) / 3600, u"hour"_s);
}

QString downloading(const ModelProgress &progress) {
    QString text = u"Downloading: "_s + ModelWords::bytes(progress.receivedBytes);
    if (progress.totalBytes)
        text += u" of "_s + ModelWords::bytes(*progress.totalBytes);
    if (progress.timeLeft)
        text += u", about "_s + timeLeft(*progress.timeLeft) + u" left"_s;
    return text;
}

QString step(const ModelProgress &progress) {
    if (!progress.obstacle.isEmpty())
        return progress.obstacle + u" It is tried again."_s;
    switch (progress.step) {
    case ModelProgress::Step::waiting:
        return u"Waiting for its turn"_s;
    case ModelProgress::Step::preparing:
        return u"Preparing"_s;
    case ModelProgress::Step::downloading:
        return downloading(progress);
    case ModelProgress::Step::checking:
        return u"Checking"_s;
    case ModelProgress::Step::unpacking:
        return u"Unpacking"_s;
    }
    Q_UNREACHABLE();
}

QString presence(const ModelState &state, const QString &offeredVersion) {
    switch (state.presence) {
    case ModelState::Presence::absent:
        return u"Not installed"_s;
    case ModelState::Presence::damaged:
        return u"Damaged"_s;
    case ModelState::Presence::unfit:
        return u"Does not work on this computer"_s;
    case ModelState::Presence::installed:
        if (!state.isOwn)
            return u"Installed for everybody on this computer"_s +
                   (state.isPaused ? u", update paused"_s : QString());
        if (isNewer(offeredVersion, state.version))
            return state.isPaused ? u"Installed, update paused"_s
                                  : u"Installed: version %1. There is a newer one."_s.arg(state.version);
        return u"Installed"_s;
    }
    Q_UNREACHABLE();
}

} // namespace

QString ModelWords::bytes(qint64 bytes) {
    const auto count = static_cast<double>(bytes);
    if (std::round(count / megabyte) >= 1000)
        return number(count / gigabyte) + u" GB"_s;
    if (std::round(count / kilobyte) >= 1000)
        return number(count / megabyte) + u" MB"_s;
    return number(count / kilobyte) + u" kB"_s;
}

QString ModelWords::size(const DownloadSize &size) {
    if (size.isWhole)
        return (size.isEstimate ? u"about "_s : QString()) + bytes(size.bytes);
    return size.bytes > 0 ? u"more than "_s + bytes(size.bytes) : u"size not stated"_s;
}

QString ModelWords::quality(const ModelDescription &description) {
    QString words = scoreInWords(description);
    if (description.punctuates)
        words += *description.punctuates ? u", writes punctuation"_s : u", no punctuation"_s;
    return words;
}

QString ModelWords::measured(const ModelDescription &description) {
    QStringList sentences;
    if (const auto &score = description.score) {
        const QString source = score->source.isEmpty() ? QString() : u", says "_s + score->source;
        sentences += score->measure + u": "_s + QString::number(score->value) + source + u'.';
    }
    if (description.memory)
        sentences += u"Needs about %1 of memory."_s.arg(bytes(*description.memory));
    return sentences.join(u' ');
}

QString ModelWords::weight(const ModelDescription &description) {
    switch (description.sizeClass) {
    case ModelSizeClass::unknown:
        return {};
    case ModelSizeClass::light:
        return u"Light"_s;
    case ModelSizeClass::medium:
        return u"Medium"_s;
    case ModelSizeClass::large:
        return u"Large"_s;
    }
    Q_UNREACHABLE();
}

QString ModelWords::publisher(const ModelDescription &description) {
    return description.publisher.isEmpty() ? u"Publisher not stated."_s
                                           : u"From "_s + description.publisher + u'.';
}

QString ModelWords::checksums(const ModelDescription &description) {
    switch (description.checksums) {
    case ModelChecksums::all:
        return {};
    case ModelChecksums::some:
        return u"Checksums stated in part."_s;
    case ModelChecksums::none:
        return u"Checksum not stated."_s;
    }
    Q_UNREACHABLE();
}

QString ModelWords::origin(const ModelDescription &description) {
    const QString licence = description.licence.isEmpty() ? u"Licence not stated."_s
                                                          : u"Licence: "_s + description.licence + u'.';
    const QString unknown = checksums(description);
    return publisher(description) + u' ' + licence + (unknown.isEmpty() ? unknown : u' ' + unknown);
}

QString ModelWords::state(const ModelState &state, const QString &offeredVersion) {
    if (state.progress)
        return step(*state.progress);
    if (state.isLeaving)
        return u"Is removed as soon as nobody uses it"_s;
    if (!state.problem.isEmpty())
        return state.problem;
    if (state.isPaused && !state.isInstalled())
        return u"Paused"_s;
    return presence(state, offeredVersion);
}

QString ModelWords::standing(const ModelNeed &need) {
    const QString way = need.isByWayOfEnglish ? u", by way of English"_s : QString();
    switch (need.standing) {
    case ModelNeed::Standing::ready:
        return u"Ready"_s + way;
    case ModelNeed::Standing::missing:
        return size(need.size) + way;
    case ModelNeed::Standing::arriving:
        return (need.percent ? u"On its way, %1 %"_s.arg(*need.percent) : u"On its way"_s) + way;
    case ModelNeed::Standing::unserved:
        return u"There is no model for this"_s;
    }
    Q_UNREACHABLE();
}

QString ModelWords::omissions(const QStringList &omissions) {
    QString sentences = omissions.join(u' ');
    if (omissions.size() < 2)
        return sentences;
    return u"%1 entries of the catalogs are left out. %2"_s.arg(QString::number(omissions.size()), sentences);
}

QString ModelWords::space(qint64 used, std::optional<qint64> free) {
    const QString taken =
        used > 0 ? u"Your models take %1."_s.arg(bytes(used)) : u"You have no models of your own."_s;
    return free ? taken + u" %1 are free."_s.arg(bytes(*free)) : taken;
}

} // namespace quillora
