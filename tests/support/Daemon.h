#pragma once

#include "support/ChildProcess.h"

namespace quillora::test {

/// A program that a test needs for as long as this object lives. If it ends without the test's doing, the
/// running test fails at once, by the program's name, and waits for nothing any more.
class Daemon : public ChildProcess {
public:
    Daemon(const QString &program, const QStringList &arguments = {}, const QStringList &environment = {});
    ~Daemon();

    /// Returns once `isReady` holds, which nothing but this very program must be able to bring about. Throws
    /// std::runtime_error with the program's name if it ends before, or takes too long.
    void waitUntilReady(const std::function<bool()> &isReady);

    /// Whether one that exists has ended without the test's doing.
    static bool hasOneDied();

private:
    void noticeEnd();

    QString m_commandLine;
    bool m_hasDied = false;
};

} // namespace quillora::test
