#include "ui/DownloadQuestionText.h"

#include "models/ModelWords.h"
#include "ui/LanguageLabel.h"

using namespace Qt::StringLiterals;

namespace quillora {

using platform::ModelKind;
using platform::ModelTask;

namespace {

QString doing(const ModelTask &task, const Models &models, const QList<SpokenLanguageOption> &spoken) {
    const QString first = task.languages.value(0);
    if (task.kind == ModelKind::translation) {
        const QString way = models.need(task).isByWayOfEnglish ? u", by way of English,"_s : QString();
        return u"translating %1 to %2%3"_s.arg(LanguageLabel::english(first),
                                               LanguageLabel::english(task.languages.value(1)), way);
    }
    const auto option = LanguageCatalog::spokenOption(first, spoken);
    return u"dictating in "_s + (option ? option->name : first);
}

/// Whoever publishes them; where that is not known, the servers that they come from.
QString publishers(const QStringList &ids, const Models &models) {
    QStringList names;
    for (const QString &id : ids) {
        const auto model = models.description(id);
        names += model.publisher.isEmpty() ? model.hosts : QStringList{model.publisher};
    }
    names.removeDuplicates();
    return names.join(u" and "_s);
}

QString amount(const DownloadSize &size) {
    QString words = ModelWords::size(size);
    if (!size.isWhole && size.bytes == 0)
        return u"Its size is not stated. It comes"_s;
    words[0] = words.at(0).toUpper();
    return words;
}

} // namespace

QString downloadQuestionText(const platform::DownloadQuestion &question, const Models &models,
                             const QList<SpokenLanguageOption> &spoken) {
    QStringList doings;
    for (const ModelTask &task : question.tasks)
        doings += doing(task, models, spoken);
    const QString take = doings.size() == 1 ? u"takes"_s : u"take"_s;
    return u"Download what %1 %2? %3 from %4, kept on this computer."_s.arg(
        doings.join(u" and "_s), take, amount(models.downloadSize(question.models)),
        publishers(question.models, models));
}

} // namespace quillora
