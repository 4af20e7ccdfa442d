#include "platform/linux/translation/apertium/ApertiumTranslationSession.h"

#include "platform/linux/translation/LanguageNames.h"
#include "platform/linux/translation/TextLayout.h"
#include "platform/linux/translation/apertium/ApertiumSpelling.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

bool isBlank(const QString &text) { return text.trimmed().isEmpty(); }

} // namespace

ApertiumTranslationSession::ApertiumTranslationSession(QList<ApertiumMode> route,
                                                       std::weak_ptr<ApertiumPipelines> pipelines)
    : m_route(std::move(route)), m_pipelines(std::move(pipelines)) {}

QCoro::Task<> ApertiumTranslationSession::prepareTranslation() {
    for (const ApertiumMode &mode : m_route) {
        if (!pipelines()->pipeline(mode).isWarm()) {
            const auto answer = pipelines()->pipeline(mode).warm().wait();
            co_await answer;
        }
    }
}

QCoro::Task<TranslationResponse> ApertiumTranslationSession::translate(QString text) {
    for (const ApertiumMode &mode : m_route) {
        QString next = co_await translateStep(mode, std::move(text));
        text = std::move(next);
    }
    TranslationResponse response{std::move(text)};
    co_return response;
}

QCoro::Task<QString> ApertiumTranslationSession::translateStep(ApertiumMode mode, QString text) {
    const TextLayout layout(text);
    const QStringList passages = layout.passages();
    if (passages.isEmpty())
        co_return text;
    QStringList spelled;
    for (const QString &passage : passages)
        spelled += spelledForApertium(passage, mode.source);
    const auto answer = pipelines()->pipeline(mode).translate(spelled).wait();
    QStringList translations = co_await answer;
    if (std::all_of(translations.begin(), translations.end(), isBlank))
        throw error(u"gave no result"_s);
    for (qsizetype i = 0; i < translations.size(); ++i)
        translations[i] = spelledLikePassage(translations[i], passages[i], mode.target);
    co_return layout.withPassages(translations);
}

std::shared_ptr<ApertiumPipelines> ApertiumTranslationSession::pipelines() const {
    auto pipelines = m_pipelines.lock();
    if (!pipelines)
        throw error(u"was ended"_s);
    return pipelines;
}

LocalizedError ApertiumTranslationSession::error(const QString &whatHappened) const {
    const QString pair = pairInWords(m_route.first().source, m_route.last().target);
    return LocalizedError(u"The on-device translation %1 %2."_s.arg(pair, whatHappened));
}

} // namespace quillora::platform
