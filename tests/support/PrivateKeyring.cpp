#include "support/PrivateKeyring.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>

#include <stdexcept>

using namespace Qt::StringLiterals;

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

const QString serviceName = u"org.freedesktop.secrets"_s;
const QString servicePath = u"/org/freedesktop/secrets"_s;
const QString collectionPath = u"/org/freedesktop/secrets/collection/login"_s;

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

    QStringList arguments{u"--foreground"_s, u"--components=secrets"_s,
                          u"--control-directory=%1/control"_s.arg(m_home.path())};
    if (collection == Collection::unlocked)
        arguments.append(u"--unlock"_s);
    m_process.emplace(u"gnome-keyring-daemon"_s, arguments,
                      QStringList{u"DBUS_SESSION_BUS_ADDRESS=%1"_s.arg(bus.address()),
                                  u"HOME=%1"_s.arg(m_home.path()), u"XDG_RUNTIME_DIR=%1"_s.arg(m_home.path()),
                                  u"XDG_DATA_HOME=%1/data"_s.arg(m_home.path()), u"DISPLAY="_s,
                                  u"WAYLAND_DISPLAY="_s});
    m_process->process().write(password);
    m_process->process().closeWriteChannel();
    // It has its name before it has its methods.
    m_process->waitUntilReady(
        [this] { return isOnBus() && search({}).type() == QDBusMessage::ReplyMessage; });
}

PrivateKeyring::~PrivateKeyring() = default;

void PrivateKeyring::store(const Item &item) {
    const QVariantMap properties{
        {u"org.freedesktop.Secret.Item.Label"_s, item.label},
        {u"org.freedesktop.Secret.Item.Attributes"_s, QVariant::fromValue(item.attributes)}};
    const Secret secret{session(), {}, item.data, u"text/plain"_s};
    call(collectionPath, u"org.freedesktop.Secret.Collection"_s, u"CreateItem"_s,
         {properties, QVariant::fromValue(secret), false});
}

QList<PrivateKeyring::Item> PrivateKeyring::find(const Attributes &attributes) {
    const QDBusMessage reply = answered(search(attributes));
    const auto unlocked = qdbus_cast<QList<QDBusObjectPath>>(reply.arguments().value(0));
    const auto locked = qdbus_cast<QList<QDBusObjectPath>>(reply.arguments().value(1));

    const QString interface = u"org.freedesktop.Secret.Item"_s;
    const auto property = [&](const QDBusObjectPath &path, const QString &name) {
        return call(path.path(), u"org.freedesktop.DBus.Properties"_s, u"Get"_s, {interface, name})
            .value<QDBusVariant>()
            .variant();
    };
    QList<Item> items;
    for (const auto &path : unlocked + locked) {
        Item item{property(path, u"Label"_s).toString(),
                  qdbus_cast<Attributes>(property(path, u"Attributes"_s)),
                  {}};
        if (unlocked.contains(path))
            item.data = qdbus_cast<Secret>(
                            call(path.path(), interface, u"GetSecret"_s, {QVariant::fromValue(session())}))
                            .value;
        items.append(item);
    }
    return items;
}

QDBusMessage PrivateKeyring::search(const Attributes &attributes) {
    return ask(servicePath, u"org.freedesktop.Secret.Service"_s, u"SearchItems"_s,
               {QVariant::fromValue(attributes)});
}

void PrivateKeyring::lock() {
    call(servicePath, u"org.freedesktop.Secret.Service"_s, u"Lock"_s,
         {QVariant::fromValue(QList{QDBusObjectPath(collectionPath)})});
}

void PrivateKeyring::unlock() {
    const Secret master{session(), {}, QByteArray(password), u"text/plain"_s};
    call(servicePath, u"org.gnome.keyring.InternalUnsupportedGuiltRiddenInterface"_s,
         u"UnlockWithMasterPassword"_s,
         {QVariant::fromValue(QDBusObjectPath(collectionPath)), QVariant::fromValue(master)});
}

void PrivateKeyring::makeCollection() {
    const QVariantMap properties{{u"org.freedesktop.Secret.Collection.Label"_s, u"Login"_s}};
    const Secret master{session(), {}, QByteArray(password), u"text/plain"_s};
    const auto path = call(servicePath, u"org.gnome.keyring.InternalUnsupportedGuiltRiddenInterface"_s,
                           u"CreateWithMasterPassword"_s, {properties, QVariant::fromValue(master)});
    call(servicePath, u"org.freedesktop.Secret.Service"_s, u"SetAlias"_s, {u"default"_s, path});
}

void PrivateKeyring::useCollectionWithoutFile() {
    call(servicePath, u"org.freedesktop.Secret.Service"_s, u"SetAlias"_s,
         {u"default"_s,
          QVariant::fromValue(QDBusObjectPath(u"/org/freedesktop/secrets/collection/session"_s))});
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

/// An answer that the caller stands waiting for overtakes what comes through the event loop. The daemon tells
/// of a change once it has returned to its own, so that the question has to wait for its turn there, which a
/// Ping does not.
void PrivateKeyring::settle() {
    auto question = QDBusMessage::createMethodCall(serviceName, servicePath,
                                                   u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
    question << u"org.freedesktop.Secret.Service"_s << u"Collections"_s;
    const QDBusPendingCallWatcher answer(m_bus.asyncCall(question));
    bool isHere = false;
    QObject::connect(&answer, &QDBusPendingCallWatcher::finished, [&isHere] { isHere = true; });
    if (!ChildProcess::waitUntil([&isHere] { return isHere; }) || answer.isError())
        throw std::runtime_error("the keyring does not answer");
}

bool PrivateKeyring::isOnBus() const { return m_bus.interface()->isServiceRegistered(serviceName); }

QDBusObjectPath PrivateKeyring::session() {
    return ask(servicePath, u"org.freedesktop.Secret.Service"_s, u"OpenSession"_s,
               {u"plain"_s, QVariant::fromValue(QDBusVariant(QString()))})
        .arguments()
        .value(1)
        .value<QDBusObjectPath>();
}

} // namespace quillora::test
