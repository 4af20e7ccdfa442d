#include "platform/linux/translation/ApertiumTranslationSession.h"

#include "platform/linux/translation/LanguageNames.h"
#include "platform/linux/translation/TextLayout.h"

#include <QRegularExpression>

#include <algorithm>
#include <utility>

namespace quillora::platform {

namespace {

/// A recognizer writes everything small; the engine knows the English pronoun by its capital alone.
QString withCapitalPronoun(QString text) {
    static const QRegularExpression pronoun(uR"(\bi\b(?![.\-@/]))"_qs,
                                            QRegularExpression::UseUnicodePropertiesOption);
    return text.replace(pronoun, u"I"_qs);
}

QStringList prepared(QStringList passages, const QString &language) {
    if (language == u"en"_qs) {
        for (QString &passage : passages)
            passage = withCapitalPronoun(std::move(passage));
    }
    return passages;
}

bool isBlank(const QString &text) { return text.trimmed().isEmpty(); }

} // namespace

ApertiumTranslationSession::ApertiumTranslationSession(TranslationConfiguration configuration,
                                                       QList<ApertiumMode> route,
                                                       std::weak_ptr<ApertiumPipelines> pipelines)
    : m_configuration(std::move(configuration)), m_route(std::move(route)),
      m_pipelines(std::move(pipelines)) {}

QCoro::Task<> ApertiumTranslationSession::prepareTranslation() {
    requireRoute();
    for (const ApertiumMode &mode : m_route) {
        if (!pipelines()->pipeline(mode).isWarm()) {
            const auto answer = pipelines()->pipeline(mode).translate({u"1"_qs}).wait();
            co_await answer;
        }
    }
}

QCoro::Task<TranslationResponse> ApertiumTranslationSession::translate(QString text) {
    requireRoute();
    for (const ApertiumMode &mode : m_route) {
        QString next = co_await translateStep(mode, std::move(text));
        text = std::move(next);
    }
    TranslationResponse response{std::move(text)};
    co_return response;
}

QCoro::Task<QString> ApertiumTranslationSession::translateStep(ApertiumMode mode, QString text) {
    const TextLayout layout(text);
    const QStringList passages = prepared(layout.passages(), mode.source);
    if (passages.isEmpty())
        co_return text;
    const auto answer = pipelines()->pipeline(mode).translate(passages).wait();
    const QStringList translations = co_await answer;
    if (std::all_of(translations.begin(), translations.end(), isBlank))
        throw LocalizedError(u"The on-device translation %1 gave no result."_qs.arg(pairInWords()));
    co_return layout.withPassages(translations);
}

std::shared_ptr<ApertiumPipelines> ApertiumTranslationSession::pipelines() const {
    auto pipelines = m_pipelines.lock();
    if (!pipelines)
        throw LocalizedError(u"The on-device translation %1 was ended."_qs.arg(pairInWords()));
    return pipelines;
}

QString ApertiumTranslationSession::pairInWords() const {
    return u"from %1 to %2"_qs.arg(englishLanguageName(m_configuration.source()),
                                   englishLanguageName(m_configuration.target()));
}

void ApertiumTranslationSession::requireRoute() const {
    if (m_route.isEmpty())
        throw LocalizedError(u"No on-device translation %1 is installed."_qs.arg(pairInWords()));
}

} // namespace quillora::platform
