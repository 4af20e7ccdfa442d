#include "translation/TranslationHostView.h"

#include "platform/Detached.h"
#include "platform/MainQueue.h"
#include "platform/Platform.h"
#include "translation/TranslationBridge.h"

#include <QPointer>

namespace quillora {

using platform::Platform;

TranslationHostView::TranslationHostView(TranslationBridge &bridge, QObject *parent)
    : QObject(parent), m_bridge(bridge) {
    connect(&m_bridge, &TranslationBridge::configurationChanged, this, &TranslationHostView::requestSession);
    if (m_bridge.configuration())
        requestSession();
}

void TranslationHostView::requestSession() {
    const auto requested = *m_bridge.configuration();
    auto session = Platform::current().translators().session(requested.source(), requested.target());
    Platform::current().mainQueue().async(
        [self = QPointer<TranslationHostView>(this), requested, session = std::move(session)] {
            if (self && self->m_bridge.configuration() == requested)
                platform::detach(self->m_bridge.performCurrentJob(session));
        });
}

} // namespace quillora
