#pragma once

#include "app/Start.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>

namespace quillora {

/// Makes sure that one Quillora runs in a session: the one that owns the program's name on the session bus.
/// Without a bus everyone is the first.
class RunningInstance : public QObject {
    Q_OBJECT

public:
    enum class Claim {
        first,     ///< this is the session's instance from now on
        handedOver ///< another one runs, and has been asked to show itself if the user started this one
    };

    explicit RunningInstance(const QDBusConnection &bus);

    /// Takes the name. An instance that holds it but does not answer loses it: a hung program must not keep
    /// the user from starting a good one. Takes at most 7 s.
    Claim claim(Start start);

Q_SIGNALS:
    /// Somebody started the program once more, or the desktop asks for it.
    void activated();

    /// A newer instance has taken over.
    void replaced();

    // What another program asks for on behalf of a key that the desktop's own settings bind to it.
    void pressRequested();
    void releaseRequested();
    void toggleRequested();

private Q_SLOTS:
    void handleNameLost(const QString &name);

private:
    bool requestName(uint flags);
    bool holderAnswers(const QDBusMessage &question);

    QDBusConnection m_bus;
};

} // namespace quillora
