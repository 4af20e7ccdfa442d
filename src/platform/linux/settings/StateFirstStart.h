#pragma once

#include "platform/FirstStart.h"

#include <QString>

namespace quillora::platform {

/// Over as soon as a file is there.
class StateFirstStart : public FirstStart {
public:
    /// In the XDG state folder.
    static QString standardFile();

    explicit StateFirstStart(const QString &path);

    bool isOver() const override { return m_isOver; }
    void end() override;

private:
    const QString m_path;
    bool m_isOver;
};

} // namespace quillora::platform
