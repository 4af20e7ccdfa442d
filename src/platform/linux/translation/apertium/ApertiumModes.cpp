#include "platform/linux/translation/apertium/ApertiumModes.h"

#include "platform/linux/translation/LanguageNames.h"

#include <QDir>

using namespace Qt::StringLiterals;

namespace quillora::platform {

ApertiumModes::ApertiumModes(const QString &folder) {
    const QDir dir(folder);
    for (const QString &name : dir.entryList({u"*.mode"_s}, QDir::Files, QDir::Name)) {
        const QString pair = name.chopped(5);
        // Names of more than two parts are steps of a pair, or variants such as "spa-eng_US".
        const QStringList languages = pair.split(u'-');
        if (languages.size() != 2 || pair.contains(u'_'))
            continue;
        const QString source = shortLanguageCode(languages[0]);
        const QString target = shortLanguageCode(languages[1]);
        m_modes.try_emplace({source, target}, ApertiumMode{source, target, dir.filePath(name)});
    }
}

QList<ApertiumMode> ApertiumModes::route(const QString &source, const QString &target) const {
    if (source == target)
        return {};
    if (const auto direct = m_modes.find({source, target}); direct != m_modes.end())
        return {direct->second};
    for (const auto &[pair, first] : m_modes) {
        if (pair.first != source)
            continue;
        if (const auto second = m_modes.find({pair.second, target}); second != m_modes.end())
            return {first, second->second};
    }
    return {};
}

} // namespace quillora::platform
