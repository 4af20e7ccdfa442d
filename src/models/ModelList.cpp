#include "models/ModelList.h"

#include <QSet>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace quillora {

using platform::ModelKind;
using platform::ModelTask;

namespace {

const QString english = u"en"_s;

std::optional<ModelEntry> entryFor(const Models &models, const ModelTask &task) {
    const QStringList choices = models.routes().choices(task);
    if (choices.isEmpty())
        return {};
    return ModelEntry{task, choices, ModelList::lead(models, task, choices).value_or(choices.first())};
}

} // namespace

std::optional<QString> ModelList::lead(const Models &models, const ModelTask &task,
                                       const QStringList &choices) {
    const auto route = models.routes().route(task);
    const auto isInRoute = [&route](const QString &id) { return route && route->models.contains(id); };
    const auto lead = std::find_if(choices.begin(), choices.end(), isInRoute);
    return lead == choices.end() ? std::nullopt : std::optional(*lead);
}

QList<ModelEntry> ModelList::speech(const Models &models, const QStringList &locales) {
    QList<ModelEntry> entries;
    for (const QString &locale : locales) {
        if (const auto entry = entryFor(models, ModelTask::hearing(locale)))
            entries += *entry;
    }
    return entries;
}

std::optional<ModelEntry> ModelList::pauses(const Models &models) {
    return entryFor(models, ModelTask::tellingPauses());
}

QList<ModelEntry> ModelList::translation(const Models &models, const QStringList &languages) {
    QSet<QStringList> pairs;
    for (const auto &description : models.store().models()) {
        if (description.kind == ModelKind::translation && description.languages.size() == 2)
            pairs.insert(description.languages);
    }
    QList<QStringList> sorted(pairs.begin(), pairs.end());
    const auto rank = [&languages](const QStringList &pair) {
        const bool isFromEnglish = pair.first() == english;
        const QString other = isFromEnglish ? pair.last() : pair.first();
        const auto place = languages.indexOf(other);
        return std::tuple(place < 0 ? languages.size() : place, !isFromEnglish, pair);
    };
    std::sort(sorted.begin(), sorted.end(),
              [&rank](const auto &a, const auto &b) { return rank(a) < rank(b); });

    QList<ModelEntry> entries;
    for (const QStringList &pair : sorted) {
        if (const auto entry = entryFor(models, ModelTask::translating(pair.first(), pair.last())))
            entries += *entry;
    }
    return entries;
}

} // namespace quillora
