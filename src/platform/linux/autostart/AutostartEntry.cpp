#include "platform/linux/autostart/AutostartEntry.h"

#include "platform/ApplicationIdentity.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

/// An argument as a desktop entry's Exec key wants it: quoted for the command line, and once more for the
/// string value that holds it.
QString execArgument(QString argument) {
    for (const char16_t special : {u'\\', u'"', u'`', u'$'})
        argument.replace(QChar(special), u'\\' + QString(QChar(special)));
    argument.replace(u'%', u"%%"_s);
    argument.replace(u'\\', u"\\\\"_s);
    return u'"' + argument + u'"';
}

} // namespace

AutostartEntry::AutostartEntry(QString program) : m_program(std::move(program)) {}

QString AutostartEntry::path() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           u"/autostart/%1.desktop"_s.arg(applicationIdentifier);
}

bool AutostartEntry::isEnabled() const {
    QFile file(path());
    if (!file.open(QIODevice::ReadOnly))
        return false;
    while (!file.atEnd()) {
        const QByteArray line = file.readLine().trimmed();
        if (line == "Hidden=true" || line == "X-GNOME-Autostart-enabled=false")
            return false;
    }
    return true;
}

void AutostartEntry::setEnabled(bool isEnabled) {
    const QString path = this->path();
    if (!isEnabled) {
        QFile::remove(path);
        return;
    }
    QDir().mkpath(QFileInfo(path).path());
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return;
    file.write(text().toUtf8());
    file.commit();
}

QString AutostartEntry::text() const {
    return u"[Desktop Entry]\n"
           "Type=Application\n"
           "Name=%1\n"
           "Comment=Dictate in one language, write in another\n"
           "Exec=%2 %3\n"
           "Icon=%4\n"
           "Terminal=false\n"
           "X-GNOME-Autostart-enabled=true\n"_s.arg(applicationName, execArgument(m_program), startArgument,
                                                    applicationIdentifier);
}

} // namespace quillora::platform
