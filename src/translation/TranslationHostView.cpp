#include "translation/TranslationHostView.h"

#include "platform/Platform.h"
#include "translation/TranslationBridge.h"

#include <QPointer>

namespace quillora {

TranslationHostView::TranslationHostView(TranslationBridge &bridge, QObject *parent)
    : QObject(parent), m_bridge(bridge) {
    connect(&m_bridge, &TranslationBridge::configurationChanged, this, &TranslationHostView::requestSession);
    if (m_bridge.configuration())
        requestSession();
}

void TranslationHostView::requestSession() {
    const auto requested = *m_bridge.configuration();
    platform::Platform::current().translationProvider().translationTask(
        requested, [self = QPointer<TranslationHostView>(this), requested](auto session) {
            if (self && self->m_bridge.configuration() == requested)
                self->m_bridge.performCurrentJob(std::move(session));
        });
}

} // namespace quillora
