#pragma once

#include "app/StatusIcon.h"

#include <QHash>
#include <QIcon>

namespace quillora {

/// The icons of all states, each drawn once: the toolkit keeps what was drawn, so drawing anew at every
/// change of state would fill its cache dictation by dictation. It must end before the application object.
class StatusIconSet {
public:
    QIcon icon(DictationState state) {
        const auto drawn = m_drawn.constFind(state);
        return drawn != m_drawn.constEnd() ? *drawn : *m_drawn.insert(state, StatusIcon(state).icon());
    }

private:
    QHash<DictationState, QIcon> m_drawn;
};

} // namespace quillora
