#include "app/desktop/LoginItem.h"

#include "platform/ApplicationIdentity.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

#include <utility>

namespace quillora {

namespace {

/// An argument as a desktop entry's Exec key wants it: quoted for the command line, and once more for the
/// string value that holds it.
QString execArgument(QString argument) {
    for (const char16_t special : {u'\\', u'"', u'`', u'$'})
        argument.replace(QChar(special), u'\\' + QString(QChar(special)));
    argument.replace(u'%', u"%%"_qs);
    argument.replace(u'\\', u"\\\\"_qs);
    return u'"' + argument + u'"';
}

} // namespace

const QString LoginItem::startArgument = QStringLiteral("--at-login");

LoginItem::LoginItem(QString program) : m_program(std::move(program)) {}

QString LoginItem::entryPath() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           u"/autostart/%1.desktop"_qs.arg(applicationIdentifier);
}

bool LoginItem::isEnabled() const {
    QFile file(entryPath());
    if (!file.open(QIODevice::ReadOnly))
        return false;
    while (!file.atEnd()) {
        const QByteArray line = file.readLine().trimmed();
        if (line == "Hidden=true" || line == "X-GNOME-Autostart-enabled=false")
            return false;
    }
    return true;
}

void LoginItem::setEnabled(bool isEnabled) const {
    const QString path = entryPath();
    if (!isEnabled) {
        QFile::remove(path);
        return;
    }
    QDir().mkpath(QFileInfo(path).path());
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return;
    file.write(entry().toUtf8());
    file.commit();
}

QString LoginItem::entry() const {
    return u"[Desktop Entry]\n"
           "Type=Application\n"
           "Name=%1\n"
           "Comment=Dictate in one language, write in another\n"
           "Exec=%2 %3\n"
           "Icon=%4\n"
           "Terminal=false\n"
           "X-GNOME-Autostart-enabled=true\n"_qs.arg(applicationName, execArgument(m_program), startArgument,
                                                     applicationIdentifier);
}

} // namespace quillora
