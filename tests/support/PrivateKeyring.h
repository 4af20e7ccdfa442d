#pragma once

#include "support/Daemon.h"
#include "support/PrivateSessionBus.h"

#include <QByteArray>
#include <QDBusObjectPath>
#include <QList>
#include <QMap>
#include <QTemporaryDir>

#include <csignal>
#include <optional>

namespace quillora::test {

/// A keyring daemon on a private bus with a home of its own, seen as another program sees it.
class PrivateKeyring {
public:
    enum class Collection { unlocked, none };
    using Attributes = QMap<QString, QString>;

    static constexpr char password[] = "a password of this test";

    struct Item {
        QString label;
        Attributes attributes;
        QByteArray data; ///< empty where the item is locked

        bool operator==(const Item &) const = default;
    };

    /// Throws std::runtime_error if the keyring does not come up.
    explicit PrivateKeyring(const PrivateSessionBus &bus, Collection collection = Collection::unlocked);
    ~PrivateKeyring();

    /// Puts an item into the default collection.
    void store(const Item &item);

    /// All items that have at least these attributes.
    QList<Item> find(const Attributes &attributes);

    void lock();
    void unlock();

    /// Returns when whoever listens has heard all that the keyring has said so far. Throws
    /// std::runtime_error.
    void settle();

    /// Makes the default collection of a keyring that has none.
    void makeCollection();

    /// Makes the collection the default that has no file. One with a file is read again when the clock's
    /// second is another than at its last change, and its items are then marked with a schema.
    void useCollectionWithoutFile();

    /// Keeps the daemon from answering, until `thaw` or its end.
    void freeze() { m_process->signal(SIGSTOP); }
    void thaw() { m_process->signal(SIGCONT); }

    /// Sends a signal and waits for nothing; any thread.
    void signal(int number) { m_process->signal(number); }

    /// Ends the daemon, and waits until the bus has noticed.
    void end();

private:
    QVariant call(const QString &path, const QString &interface, const QString &method,
                  const QVariantList &arguments);
    /// The reply, be it an error.
    QDBusMessage ask(const QString &path, const QString &interface, const QString &method,
                     const QVariantList &arguments);
    QDBusMessage search(const Attributes &attributes);
    bool isOnBus() const;
    QDBusObjectPath session();

    QDBusConnection m_bus;
    QTemporaryDir m_home;
    std::optional<Daemon> m_process;
};

} // namespace quillora::test
