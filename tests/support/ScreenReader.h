#pragma once

#include "support/ChildProcess.h"
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

    /// The names of objects of any program, each as it was when its change was looked into; oldest first.
    const QStringList &heardNames() const { return m_heardNames; }

    /// How often an object of any program got a new name.
    int changeCount() const { return m_changeCount; }

private Q_SLOTS:
    void hear(const QDBusMessage &message);

private:
    std::optional<ChildProcess> m_service;
    QStringList m_heardNames;
    int m_changeCount = 0;
};

} // namespace quillora::test
