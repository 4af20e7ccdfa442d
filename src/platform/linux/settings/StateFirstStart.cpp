#include "platform/linux/settings/StateFirstStart.h"

#include "platform/linux/StateFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace quillora::platform {

QString StateFirstStart::standardFile() { return stateFile(u"first-start-is-over"_s); }

StateFirstStart::StateFirstStart(const QString &path) : m_path(path), m_isOver(QFile::exists(path)) {}

void StateFirstStart::end() {
    m_isOver = true;
    QDir().mkpath(QFileInfo(m_path).path());
    QFile file(m_path);
    file.open(QIODevice::WriteOnly); // where nothing can be written it is the first start once more
}

} // namespace quillora::platform
