#pragma once

#include "support/Daemon.h"
#include "support/PrivateSessionBus.h"

#include <QDBusMessage>
#include <QObject>
#include <QStringList>

#include <optional>

namespace quillora::test {

/// The desktop's accessibility service on a private session bus, and somebody who listens to it as a screen
/// reader does.
class ScreenReader : public QObject {
    Q_OBJECT

public:
    /// Starts the service and listens; the bus must be installed. Throws std::runtime_error if it does not
    /// come up.
    explicit ScreenReader(const PrivateSessionBus &bus, const QStringList &environment);
    ~ScreenReader() override;

    /// What it spoke of notifications: the name of each, of any program, as it was when it came to show.
    /// Oldest first.
    const QStringList &spoken() const { return m_spoken; }

    /// Whether it still asks about something that it heard of.
    bool isAsking() const { return m_questionCount > 0; }

private Q_SLOTS:
    void hear(const QDBusMessage &message);

private:
    /// Calls `use` with the answer, if there is one.
    template <typename Answer, typename Use>
    void ask(const QDBusMessage &question, Use use);

    std::optional<Daemon> m_service;
    QStringList m_spoken;
    int m_questionCount = 0;
};

} // namespace quillora::test
