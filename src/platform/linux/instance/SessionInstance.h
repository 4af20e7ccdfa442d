#pragma once

#include "platform/RunningInstance.h"
#include "platform/linux/instance/TerminationSignals.h"

#include <QByteArray>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>

#include <chrono>
#include <optional>

namespace quillora::platform {

/// The session's instance is the one that owns the program's name on the session bus, and is called there.
/// Without a bus everyone is the first. The system asks for the end by a signal.
class SessionInstance final : public QObject, public RunningInstance {
    Q_OBJECT

public:
    /// How long a start waits for the instance that runs already.
    struct Patience {
        /// One that is merely busy may be in the midst of a dictation, and would lose it by being replaced.
        std::chrono::milliseconds answer{5000};
        /// One that starts cannot answer, and a busy computer takes its time.
        std::chrono::milliseconds start{30000};
    };

    /// `startupId` is how the desktop knows this start; it may be empty.
    explicit SessionInstance(const QByteArray &startupId,
                             const QDBusConnection &bus = QDBusConnection::sessionBus())
        : SessionInstance(startupId, bus, {}) {}
    SessionInstance(const QByteArray &startupId, const QDBusConnection &bus, const Patience &patience);

    Claim claim(Start start) override;
    void setListener(std::optional<RunningInstanceListener> listener) override;
    void endStart() override;

private Q_SLOTS:
    void handleNameLost(const QString &name);

private:
    friend class ApplicationAdaptor;
    friend class DictationAdaptor;

    bool requestName(const QString &name, uint flags);
    void waitForStartingHolder();
    bool holderAnswers(const QDBusMessage &question);
    void endStarting();
    void tell(std::function<void()> RunningInstanceListener::*event) const;

    const QByteArray m_startupId;
    QDBusConnection m_bus;
    const Patience m_patience;
    std::optional<RunningInstanceListener> m_listener;
    std::optional<TerminationSignals> m_terminationSignals; ///< while there is a listener
};

} // namespace quillora::platform
