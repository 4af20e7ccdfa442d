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
    /// Whether the user does one thing after the other: begins nothing while a start waits for its outcome.
    /// Nothing but the user keeps several starts apart, and where they overlap the states are no line any
    /// more, so that some of the rules end there.
    enum class Order { oneByOne, anyhow };

    explicit StateTables(Order order) : m_order(order) {}

    /// The first rule that is broken by what has happened since the last time, in words; null if none is.
    /// `isSettled` says that everything that was posted has run.
    QString broken(const QStringList &happened, const AppController &controller, const FakePlatform &platform,
                   bool isSettled);

    /// Whether a start has come neither to a recording nor to a failure.
    bool isStarting() const { return m_starts > 0; }

private:
    enum class State { idle, recording, processing };

    QString brokenBy(const QString &line, const QString &next);
    QString brokenBeginning();
    QString brokenStart();
    QString brokenWay(State next);
    QString brokenAtRest(const AppController &controller, const FakePlatform &platform, bool isSettled);

    const Order m_order;
    State m_state = State::idle;
    bool m_stopped = false; ///< the recording has ended, and processing is still to begin
    bool m_isProcessing = false;
    int m_starts = 0;            ///< that wait for their outcome
    bool m_isOverlapped = false; ///< something began while one of them waited
    bool m_isHotKeyChanged = false;
    int m_pendingRestores = 0;
    QString m_translatedText;
};

} // namespace quillora::test
