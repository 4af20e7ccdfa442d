#pragma once

#include "platform/ModelRoutes.h"

#include <QMap>
#include <QString>

namespace quillora::platform {

/// A short text for each of some tasks, in a file that outlives the program. What cannot be written lasts
/// until the program ends.
class TaskRecord {
public:
    /// The file need not be there, nor its folder. One that cannot be understood counts as empty, and is kept
    /// beside the new one once there is something to write.
    explicit TaskRecord(QString path);

    /// Empty if there is none.
    QString text(const ModelTask &task) const;

    /// An empty text is none.
    void set(const ModelTask &task, const QString &text);

private:
    void read();
    void write();
    void complain(const QString &fault) const;

    const QString m_path;
    QMap<QString, QString> m_texts; ///< by the task in words
    bool m_isUnderstood = true;     ///< what the file holds
};

} // namespace quillora::platform
