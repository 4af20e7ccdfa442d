#pragma once

#include <QString>

#include <exception>
#include <utility>

namespace quillora {

/// An error that carries the English sentence shown to the user.
class LocalizedError : public std::exception {
public:
    explicit LocalizedError(QString description)
        : m_description(std::move(description)), m_utf8(m_description.toUtf8()) {}

    /// The sentence for the user; complete, with its full stop.
    const QString &errorDescription() const { return m_description; }

    const char *what() const noexcept override { return m_utf8.constData(); }

private:
    QString m_description;
    QByteArray m_utf8;
};

/// The sentence for the user of any caught exception.
inline QString localizedDescription(const std::exception &error) {
    if (const auto *localized = dynamic_cast<const LocalizedError *>(&error))
        return localized->errorDescription();
    return QString::fromUtf8(error.what());
}

} // namespace quillora
