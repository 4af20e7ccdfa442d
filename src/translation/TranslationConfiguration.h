#pragma once

#include <QString>

#include <utility>

namespace quillora {

/// A language pair as a trigger: whatever changes about it asks for a session.
class TranslationConfiguration {
public:
    TranslationConfiguration(QString source, QString target)
        : m_source(std::move(source)), m_target(std::move(target)) {}

    const QString &source() const { return m_source; } ///< a language code such as "en"
    const QString &target() const { return m_target; }

    /// Asks for a new session for the same pair.
    void invalidate() { ++m_version; }

    bool operator==(const TranslationConfiguration &) const = default;

private:
    QString m_source;
    QString m_target;
    quint64 m_version = 0;
};

} // namespace quillora
