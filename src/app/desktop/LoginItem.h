#pragma once

#include <QString>

namespace quillora {

/// The entry that starts the program at login, in the user's autostart folder.
class LoginItem {
public:
    /// What the entry adds to the program's arguments.
    static const QString startArgument;

    /// `program` is the executable to start.
    explicit LoginItem(QString program);

    /// Whether the desktop will start the program; the user may have said no elsewhere.
    bool isEnabled() const;

    /// Writes or removes the entry; where that fails, `isEnabled` says so.
    void setEnabled(bool isEnabled) const;

private:
    static QString entryPath();
    QString entry() const;

    QString m_program;
};

} // namespace quillora
