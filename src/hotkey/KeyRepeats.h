#pragma once

#include <QKeyEvent>

namespace quillora {

/// Tells the presses by which a held key repeats from those of a finger.
class KeyRepeats {
public:
    /// For every release that comes to the widget, in the order of the events.
    void noteRelease(const QKeyEvent &release);

    bool isRepeat(const QKeyEvent &press) const;

private:
    quint32 m_releasedScanCode = 0;
    quint64 m_releaseTime = 0; ///< in milliseconds; 0 where it is not known
};

} // namespace quillora
