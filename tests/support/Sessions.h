#pragma once

#include "platform/Translators.h"

#include <QCoroTask>

#include <memory>

namespace quillora::test {

/// A session that is prepared, and one that translates a text then: for an Outcome. What they take is their
/// own, since they outlive the call.
inline QCoro::Task<QString> prepared(std::shared_ptr<platform::TranslationSession> session) {
    co_await session->prepareTranslation();
    co_return QString();
}

inline QCoro::Task<QString> translated(std::shared_ptr<platform::TranslationSession> session, QString text) {
    co_await session->prepareTranslation();
    const auto response = co_await session->translate(text);
    co_return response.targetText;
}

} // namespace quillora::test
