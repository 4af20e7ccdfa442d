#include "platform/linux/routing/TaskRecord.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

/// Such as "translating en ru".
QString inWords(const ModelTask &task) {
    switch (task.kind) {
    case ModelKind::speech:
        return u"hearing "_s + task.languages.join(u' ');
    case ModelKind::translation:
        return u"translating "_s + task.languages.join(u' ');
    case ModelKind::voiceActivity:
        return u"telling pauses"_s;
    }
    Q_UNREACHABLE();
}

} // namespace

TaskRecord::TaskRecord(QString path) : m_path(std::move(path)) { read(); }

QString TaskRecord::text(const ModelTask &task) const { return m_texts.value(inWords(task)); }

void TaskRecord::set(const ModelTask &task, const QString &text) {
    if (text == this->text(task))
        return;
    if (text.isEmpty())
        m_texts.remove(inWords(task));
    else
        m_texts[inWords(task)] = text;
    write();
}

void TaskRecord::read() {
    QFile file(m_path);
    if (!file.exists())
        return;
    const bool isOpen = file.open(QIODevice::ReadOnly);
    const auto document = isOpen ? QJsonDocument::fromJson(file.readAll()) : QJsonDocument();
    m_isUnderstood = document.isObject();
    if (!m_isUnderstood)
        return complain(u"cannot be read"_s);
    const QJsonObject object = document.object();
    for (auto member = object.begin(); member != object.end(); ++member) {
        if (member->isString())
            m_texts[member.key()] = member->toString();
    }
}

void TaskRecord::write() {
    if (!std::exchange(m_isUnderstood, true)) {
        const QString kept = m_path + u".unreadable"_s;
        QFile::remove(kept);
        QFile::rename(m_path, kept);
    }
    QJsonObject object;
    for (auto text = m_texts.begin(); text != m_texts.end(); ++text)
        object[text.key()] = text.value();
    QDir().mkpath(QFileInfo(m_path).path());
    QSaveFile file(m_path);
    if (!file.open(QIODevice::WriteOnly) || file.write(QJsonDocument(object).toJson()) < 0 || !file.commit())
        complain(u"cannot be written: %1"_s.arg(file.errorString()));
}

void TaskRecord::complain(const QString &fault) const {
    qWarning().noquote() << u"%1 %2"_s.arg(m_path, fault);
}

} // namespace quillora::platform
