#pragma once

#include "controller/AppController.h"
#include "fakes/FakePlatform.h"

#include <QStringList>

#include <optional>

namespace quillora::test {

/// What holds of every dictation, however it goes: the states and the ways between them, and what must come
/// together with what. Fed with what happens, in its order, and without an idea of what should happen next.
class StateTables {
public:
    /// The first rule that is broken by what has happened since the last time, in words; null if none is.
    /// `isSettled` says that everything that was posted has run.
    QString broken(const QStringList &happened, const AppController &controller, const FakePlatform &platform,
                   bool isSettled);

private:
    enum class State { idle, recording, processing };

    QString brokenBy(const QString &line, const QString &next);
    QString brokenWay(State next);
    QString brokenAtRest(const AppController &controller, const FakePlatform &platform, bool isSettled);

    State m_state = State::idle;
    bool m_stopped = false; ///< the recording has ended, and processing is still to begin
    bool m_isProcessing = false;
    int m_begun = 0;             ///< starts and preparations since nothing was under way
    bool m_isOverlapped = false; ///< one of them came while a start waited: the states are no line any more
    bool m_isHotKeyChanged = false;
    int m_pendingRestores = 0;
    QString m_translatedText;
};

} // namespace quillora::test
