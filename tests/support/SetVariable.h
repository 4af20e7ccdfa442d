#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QStringList>

#include <optional>

namespace quillora::test {

/// A variable of this process's environment that has another value as long as this object lives. Only where
/// no other thread runs.
class SetVariable {
public:
    /// The paths of folders, as the XDG variables hold them.
    SetVariable(const char *name, const QStringList &paths) : m_name(name) {
        if (qEnvironmentVariableIsSet(name))
            m_before = qgetenv(name);
        qputenv(name, QFile::encodeName(paths.join(QLatin1Char(':'))));
    }
    ~SetVariable() { m_before ? qputenv(m_name, *m_before) : qunsetenv(m_name); }
    SetVariable(const SetVariable &) = delete;
    SetVariable &operator=(const SetVariable &) = delete;

private:
    const char *m_name;
    std::optional<QByteArray> m_before;
};

} // namespace quillora::test
