#pragma once

#include "platform/Pasteboard.h"

#include <QObject>
#include <QPointer>

namespace quillora::platform {

/// The toolkit's clipboard, to write to. What stands on it is not read, and nothing is ever put back.
///
/// Compositors take what is copied only from the program in front, some only in answer to a key or a click of
/// the user in it, and do not say so when they refuse. So it is written only after both; at any other time it
/// is left alone.
class FocusedPasteboard final : public QObject, public Pasteboard {
public:
    FocusedPasteboard();

    SavedPasteboardHandle save() override;
    bool write(const QString &text, const SavedPasteboardHandle &standsInFor) override;
    bool gives(const QString &) override { return false; }
    void restore(const SavedPasteboardHandle &) override {}

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool isUserAtWorkHere() const;

    QPointer<const QObject> m_workedIn; ///< the window of the last key or click, until the focus goes
};

} // namespace quillora::platform
