#pragma once

#include <QList>
#include <QString>

#include <map>
#include <utility>

namespace quillora::platform {

/// One step of a translation: an installed language pair. Languages have two letters where they can.
struct ApertiumMode {
    QString source;
    QString target;
    QString file;

    bool operator==(const ApertiumMode &) const = default;
};

/// The language pairs that are installed in a folder, as files such as `eng-spa.mode`.
class ApertiumModes {
public:
    explicit ApertiumModes(const QString &folder);

    /// The steps that lead from one language to another: one, or two through the first language, by name, to
    /// which both are paired; none where there is no way.
    QList<ApertiumMode> route(const QString &source, const QString &target) const;

private:
    std::map<std::pair<QString, QString>, ApertiumMode> m_modes; ///< by source and target
};

} // namespace quillora::platform
