#pragma once

#include <QDir>
#include <QString>

namespace quillora::platform {

using namespace Qt::StringLiterals;

/// Where a file of that name lies in our part of the XDG state folder, which the toolkit does not know.
inline QString stateFile(const QString &name) {
    const QString state = qEnvironmentVariable("XDG_STATE_HOME");
    const bool isGiven = QDir::isAbsolutePath(state); // another one counts as none, says the standard
    return (isGiven ? state : QDir::homePath() + u"/.local/state"_s) + u"/Quillora/"_s + name;
}

} // namespace quillora::platform
