#include "platform/linux/settings/SettingsUserDefaults.h"

#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>

#include <chrono>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

constexpr std::chrono::milliseconds nextTurn(0);

QString usersOwnPath() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           u"/Quillora/Quillora.conf"_s;
}

std::unique_ptr<QSettings> openSettings(const QString &path) {
    return std::make_unique<QSettings>(path, QSettings::IniFormat);
}

bool isForbidden(const QString &path) {
    const QFileInfo file(path);
    return file.exists() && !file.isDir() && !QFile(path).open(QIODevice::ReadOnly);
}

bool isUnderstood(QSettings &settings) {
    settings.allKeys(); // makes it parse every section: left alone it parses what is asked for
    return settings.status() == QSettings::NoError;
}

/// Whether the file could be moved away.
bool keepAside(const QString &path) {
    int number = 1;
    const auto name = [&] { return u"%1.unreadable-%2"_s.arg(path).arg(number); };
    while (QFileInfo::exists(name()))
        ++number;
    return QFile::rename(path, name());
}

/// What stands behind `key` in the file's first section, letter by letter.
std::optional<QString> typedText(const QString &path, const QString &key) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    std::optional<QString> text;
    bool isGeneral = true;
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        const qsizetype equals = line.indexOf(u'=');
        if (line.startsWith(u'['))
            isGeneral = line == u"[General]";
        else if (isGeneral && equals > 0 && QStringView(line).left(equals).trimmed() == key)
            text = line.mid(equals + 1).trimmed();
    }
    return text;
}

} // namespace

SettingsUserDefaults::SettingsUserDefaults() : SettingsUserDefaults(usersOwnPath()) {}

SettingsUserDefaults::SettingsUserDefaults(const QString &path) {
    for (QTimer *timer : {&m_saving, &m_telling}) {
        timer->setSingleShot(true);
        timer->setInterval(nextTurn);
    }
    m_saving.callOnTimeout([this] { save(); });
    m_telling.callOnTimeout([this] { tell(); });
    open(path);
}

SettingsUserDefaults::~SettingsUserDefaults() = default;

void SettingsUserDefaults::open(const QString &path) {
    if (isForbidden(path))
        return report(UserDefaultsFailure::unreadable);
    m_settings = openSettings(path);
    if (isUnderstood(*m_settings))
        return keepTypedText(path);
    m_settings.reset(); // what was read is shared for as long as anything refers to it
    if (!keepAside(path))
        return report(UserDefaultsFailure::unreadable);
    m_settings = openSettings(path);
    report(UserDefaultsFailure::setAside);
}

/// A value with a comma that somebody typed without quotes is taken for a list, and would be written as one.
void SettingsUserDefaults::keepTypedText(const QString &path) {
    for (const QString &key : m_settings->childKeys()) {
        if (m_settings->value(key).typeId() != QMetaType::QStringList)
            continue;
        if (const auto text = typedText(path, key))
            m_settings->setValue(key, *text);
    }
}

std::optional<QString> SettingsUserDefaults::string(const QString &key) const {
    if (!m_settings) {
        const auto found = m_unsaved.find(key);
        return found == m_unsaved.end() ? std::nullopt : std::optional(found->second);
    }
    if (!m_settings->contains(key))
        return {};
    return m_settings->value(key).toString();
}

void SettingsUserDefaults::setString(const QString &value, const QString &key) {
    if (!m_settings) {
        m_unsaved[key] = value;
        return;
    }
    m_settings->setValue(key, value);
    m_saving.start();
}

void SettingsUserDefaults::setFailureObserver(FailureObserver observer) {
    m_observer = std::move(observer);
    m_told.clear();
    m_telling.start();
}

void SettingsUserDefaults::save() {
    m_settings->sync();
    if (m_settings->status() == QSettings::AccessError)
        report(UserDefaultsFailure::unwritable);
}

void SettingsUserDefaults::report(UserDefaultsFailure failure) {
    m_failures.insert(failure);
    m_telling.start();
}

void SettingsUserDefaults::tell() {
    for (const auto failure : std::set(m_failures)) {
        // An observer may take its own place.
        if (const auto observer = m_observer; observer && m_told.insert(failure).second)
            observer(failure);
    }
}

} // namespace quillora::platform
