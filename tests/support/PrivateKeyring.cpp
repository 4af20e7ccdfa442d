#include "support/PrivateKeyring.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>

#include <stdexcept>

namespace quillora::test {

/// The Secret Service's way of sending a secret.
struct Secret {
    QDBusObjectPath session;
    QByteArray parameters;
    QByteArray value;
    QString contentType;
};

static QDBusArgument &operator<<(QDBusArgument &argument, const Secret &secret) {
    argument.beginStructure();
    argument << secret.session << secret.parameters << secret.value << secret.contentType;
    argument.endStructure();
    return argument;
}

static const QDBusArgument &operator>>(const QDBusArgument &argument, Secret &secret) {
    argument.beginStructure();
    argument >> secret.session >> secret.parameters >> secret.value >> secret.contentType;
    argument.endStructure();
    return argument;
}

namespace {

const QString serviceName = u"org.freedesktop.secrets"_qs;
const QString servicePath = u"/org/freedesktop/secrets"_qs;
const QString collectionPath = u"/org/freedesktop/secrets/collection/login"_qs;

/// The reply itself; throws std::runtime_error if it is an error.
QDBusMessage answered(const QDBusMessage &reply) {
    if (reply.type() == QDBusMessage::ErrorMessage)
        throw std::runtime_error("the keyring: " + reply.errorMessage().toStdString());
    return reply;
}

} // namespace

} // namespace quillora::test

Q_DECLARE_METATYPE(quillora::test::Secret)

namespace quillora::test {

PrivateKeyring::PrivateKeyring(const PrivateSessionBus &bus, Collection collection)
    : m_bus(bus.connection()) {
    qDBusRegisterMetaType<Secret>();
    qDBusRegisterMetaType<Attributes>();

    QStringList arguments{u"--foreground"_qs, u"--components=secrets"_qs,
                          u"--control-directory=%1/control"_qs.arg(m_home.path())};
    if (collection == Collection::unlocked)
        arguments.append(u"--unlock"_qs);
    m_process.emplace(
        u"gnome-keyring-daemon"_qs, arguments,
        QStringList{u"DBUS_SESSION_BUS_ADDRESS=%1"_qs.arg(bus.address()), u"HOME=%1"_qs.arg(m_home.path()),
                    u"XDG_RUNTIME_DIR=%1"_qs.arg(m_home.path()),
                    u"XDG_DATA_HOME=%1/data"_qs.arg(m_home.path()), u"DISPLAY="_qs, u"WAYLAND_DISPLAY="_qs});
    m_process->process().write(password);
    m_process->process().closeWriteChannel();
    // It has its name before it has its methods.
    m_process->waitUntilReady(
        [this] { return isOnBus() && search({}).type() == QDBusMessage::ReplyMessage; });
}

PrivateKeyring::~PrivateKeyring() = default;

void PrivateKeyring::store(const Item &item) {
    const QVariantMap properties{
        {u"org.freedesktop.Secret.Item.Label"_qs, item.label},
        {u"org.freedesktop.Secret.Item.Attributes"_qs, QVariant::fromValue(item.attributes)}};
    const Secret secret{session(), {}, item.data, u"text/plain"_qs};
    call(collectionPath, u"org.freedesktop.Secret.Collection"_qs, u"CreateItem"_qs,
         {properties, QVariant::fromValue(secret), false});
}

QList<PrivateKeyring::Item> PrivateKeyring::find(const Attributes &attributes) {
    const QDBusMessage reply = answered(search(attributes));
    const auto unlocked = qdbus_cast<QList<QDBusObjectPath>>(reply.arguments().value(0));
    const auto locked = qdbus_cast<QList<QDBusObjectPath>>(reply.arguments().value(1));

    const QString interface = u"org.freedesktop.Secret.Item"_qs;
    const auto property = [&](const QDBusObjectPath &path, const QString &name) {
        return call(path.path(), u"org.freedesktop.DBus.Properties"_qs, u"Get"_qs, {interface, name})
            .value<QDBusVariant>()
            .variant();
    };
    QList<Item> items;
    for (const auto &path : unlocked + locked) {
        Item item{property(path, u"Label"_qs).toString(),
                  qdbus_cast<Attributes>(property(path, u"Attributes"_qs)),
                  {}};
        if (unlocked.contains(path))
            item.data = qdbus_cast<Secret>(
                            call(path.path(), interface, u"GetSecret"_qs, {QVariant::fromValue(session())}))
                            .value;
        items.append(item);
    }
    return items;
}

QDBusMessage PrivateKeyring::search(const Attributes &attributes) {
    return ask(servicePath, u"org.freedesktop.Secret.Service"_qs, u"SearchItems"_qs,
               {QVariant::fromValue(attributes)});
}

void PrivateKeyring::lock() {
    call(servicePath, u"org.freedesktop.Secret.Service"_qs, u"Lock"_qs,
         {QVariant::fromValue(QList{QDBusObjectPath(collectionPath)})});
}

void PrivateKeyring::unlock() {
    const Secret master{session(), {}, QByteArray(password), u"text/plain"_qs};
    call(servicePath, u"org.gnome.keyring.InternalUnsupportedGuiltRiddenInterface"_qs,
         u"UnlockWithMasterPassword"_qs,
         {QVariant::fromValue(QDBusObjectPath(collectionPath)), QVariant::fromValue(master)});
}

void PrivateKeyring::makeCollection() {
    const QVariantMap properties{{u"org.freedesktop.Secret.Collection.Label"_qs, u"Login"_qs}};
    const Secret master{session(), {}, QByteArray(password), u"text/plain"_qs};
    const auto path = call(servicePath, u"org.gnome.keyring.InternalUnsupportedGuiltRiddenInterface"_qs,
                           u"CreateWithMasterPassword"_qs, {properties, QVariant::fromValue(master)});
    call(servicePath, u"org.freedesktop.Secret.Service"_qs, u"SetAlias"_qs, {u"default"_qs, path});
}

void PrivateKeyring::useCollectionWithoutFile() {
    call(servicePath, u"org.freedesktop.Secret.Service"_qs, u"SetAlias"_qs,
         {u"default"_qs,
          QVariant::fromValue(QDBusObjectPath(u"/org/freedesktop/secrets/collection/session"_qs))});
}

void PrivateKeyring::end() {
    m_process->signal(SIGKILL);
    m_process->stop();
    if (!ChildProcess::waitUntil([this] { return !isOnBus(); }))
        throw std::runtime_error("the keyring has ended, but stays on the bus");
}

QVariant PrivateKeyring::call(const QString &path, const QString &interface, const QString &method,
                              const QVariantList &arguments) {
    return answered(ask(path, interface, method, arguments)).arguments().value(0);
}

QDBusMessage PrivateKeyring::ask(const QString &path, const QString &interface, const QString &method,
                                 const QVariantList &arguments) {
    auto message = QDBusMessage::createMethodCall(serviceName, path, interface, method);
    message.setArguments(arguments);
    return m_bus.call(message);
}

/// An answer that the caller stands waiting for overtakes what comes through the event loop.
void PrivateKeyring::settle() {
    const QDBusPendingCallWatcher answer(m_bus.asyncCall(QDBusMessage::createMethodCall(
        serviceName, servicePath, u"org.freedesktop.DBus.Peer"_qs, u"Ping"_qs)));
    bool isHere = false;
    QObject::connect(&answer, &QDBusPendingCallWatcher::finished, [&isHere] { isHere = true; });
    if (!ChildProcess::waitUntil([&isHere] { return isHere; }) || answer.isError())
        throw std::runtime_error("the keyring does not answer");
}

bool PrivateKeyring::isOnBus() const { return m_bus.interface()->isServiceRegistered(serviceName); }

QDBusObjectPath PrivateKeyring::session() {
    return ask(servicePath, u"org.freedesktop.Secret.Service"_qs, u"OpenSession"_qs,
               {u"plain"_qs, QVariant::fromValue(QDBusVariant(QString()))})
        .arguments()
        .value(1)
        .value<QDBusObjectPath>();
}

} // namespace quillora::test
