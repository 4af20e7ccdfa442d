#pragma once

#include "platform/MainQueue.h"
#include "ui/LimitedLabel.h"

#include <memory>

namespace quillora {

/// The status line. Screen readers speak what it says, wherever the focus is and whether or not the panel is
/// open: each new text once, but none that gives way to another within a moment.
class StatusLabel : public LimitedLabel {
    Q_OBJECT

public:
    explicit StatusLabel(QWidget *parent = nullptr);
    ~StatusLabel() override;

    /// The first text is what the program starts with, and not spoken.
    void setStatus(const QString &status);

protected:
    void showEvent(QShowEvent *event) override;

private:
    void announce();

    QString m_announced;
    std::shared_ptr<platform::WorkItem>
        m_announcement; ///< of the newest status, once that has stood for a while
};

} // namespace quillora
