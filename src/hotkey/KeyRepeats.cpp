#include "hotkey/KeyRepeats.h"

namespace quillora {

void KeyRepeats::noteRelease(const QKeyEvent &release) {
    m_releasedScanCode = release.nativeScanCode();
    m_releaseTime = release.timestamp();
}

bool KeyRepeats::isRepeat(const QKeyEvent &press) const {
    // A held key repeats as a release and a press of the same moment. The toolkit tells that from a real
    // release only if it has received both together.
    const bool isMomentOfRelease = m_releaseTime != 0 && press.timestamp() == m_releaseTime &&
                                   press.nativeScanCode() == m_releasedScanCode;
    return press.isAutoRepeat() || isMomentOfRelease;
}

} // namespace quillora
