#include "support/ProcessTree.h"

#include <QDir>
#include <QFile>

#include <map>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace quillora::test::ProcessTree {

namespace {

QByteArray contents(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

std::map<qint64, qint64> parents() {
    std::map<qint64, qint64> parents;
    for (const QString &name : QDir(u"/proc"_s).entryList(QDir::Dirs)) {
        bool isProcess = false;
        const qint64 id = name.toLongLong(&isProcess);
        const QByteArray stat = isProcess ? contents(u"/proc/%1/stat"_s.arg(id)) : QByteArray();
        // The command's name, in parentheses, may hold anything.
        const auto fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
        if (fields.size() > 1)
            parents[id] = fields[1].toLongLong();
    }
    return parents;
}

} // namespace

QList<Process> descendants() {
    const auto parentOf = parents();
    const auto isDescendant = [&](qint64 id) {
        for (auto found = parentOf.find(id); found != parentOf.end(); found = parentOf.find(found->second)) {
            if (found->second == ::getpid())
                return true;
        }
        return false;
    };
    QList<Process> processes;
    for (const auto &[id, parent] : parentOf) {
        if (isDescendant(id))
            processes.append({id, contents(u"/proc/%1/cmdline"_s.arg(id))});
    }
    return processes;
}

bool isRunning(const Process &process) {
    return !process.commandLine.isEmpty() &&
           contents(u"/proc/%1/cmdline"_s.arg(process.id)) == process.commandLine;
}

} // namespace quillora::test::ProcessTree
