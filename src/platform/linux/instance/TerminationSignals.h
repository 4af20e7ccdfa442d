#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <array>

namespace quillora::platform {

/// Turns the signals that ask a program to end into an event of the event loop. One at a time.
class TerminationSignals : public QObject {
    Q_OBJECT

public:
    TerminationSignals();
    ~TerminationSignals() override;

Q_SIGNALS:
    void received();

private:
    std::array<int, 2> m_pipe; ///< what the signal handler writes to, and what the event loop reads
    QSocketNotifier m_notifier;
};

} // namespace quillora::platform
