#pragma once

#include "platform/LoginItem.h"

#include <QString>

namespace quillora::platform {

/// A desktop entry in the user's autostart folder.
class AutostartEntry final : public LoginItem {
public:
    /// `program` is the executable to start.
    explicit AutostartEntry(QString program);

    bool isEnabled() const override;
    void setEnabled(bool isEnabled) override;

private:
    static QString path();
    QString text() const;

    QString m_program;
};

} // namespace quillora::platform
