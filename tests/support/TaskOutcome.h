#pragma once

#include <QCoroTask>
#include <QString>

#include <memory>

namespace quillora::test {

/// What became of a task, as far as it has come.
struct TaskOutcome {
    bool isDone = false;
    QString text;
    QString error; ///< the sentence for the user, where it failed

    /// Follows the task from now on.
    static std::shared_ptr<TaskOutcome> of(QCoro::Task<QString> task);
};

} // namespace quillora::test
