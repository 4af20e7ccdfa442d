#pragma once

#include <QByteArray>
#include <QList>

/// The processes below this one.
namespace quillora::test::ProcessTree {

struct Process {
    qint64 id;
    QByteArray commandLine; ///< arguments separated by NULs; empty for a process that nobody has collected
};

/// Children, their children and so on, oldest first, dead ones that nobody has collected included.
QList<Process> descendants();

} // namespace quillora::test::ProcessTree
