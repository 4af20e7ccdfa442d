#include "platform/linux/settings/SettingsUserDefaults.h"

#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>

namespace quillora::platform {

namespace {

QString usersOwnPath() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           u"/Quillora/Quillora.conf"_qs;
}

std::unique_ptr<QSettings> openSettings(const QString &path) {
    return std::make_unique<QSettings>(path, QSettings::IniFormat);
}

bool isUnderstood(QSettings &settings) {
    settings.allKeys(); // makes it parse every section: left alone it parses what is asked for
    return settings.status() == QSettings::NoError;
}

void keepAside(const QString &path) {
    int number = 1;
    const auto name = [&] { return u"%1.unreadable-%2"_qs.arg(path).arg(number); };
    while (QFileInfo::exists(name()))
        ++number;
    QFile::rename(path, name());
}

} // namespace

SettingsUserDefaults::SettingsUserDefaults() : SettingsUserDefaults(usersOwnPath()) {}

SettingsUserDefaults::SettingsUserDefaults(const QString &path) : m_settings(openSettings(path)) {
    if (isUnderstood(*m_settings))
        return;
    m_settings.reset(); // what was read is shared for as long as anything refers to it
    keepAside(path);
    m_settings = openSettings(path);
}

SettingsUserDefaults::~SettingsUserDefaults() = default;

std::optional<QString> SettingsUserDefaults::string(const QString &key) const {
    if (!m_settings->contains(key))
        return {};
    // A value with a comma that somebody typed into the file without quotes arrives as a list.
    return m_settings->value(key).toStringList().join(u", "_qs);
}

void SettingsUserDefaults::setString(const QString &value, const QString &key) {
    m_settings->setValue(key, value);
}

} // namespace quillora::platform
