#pragma once

#include <QObject>

namespace quillora {

class TranslationBridge;

/// Brings the bridge a session, in a later turn of the event loop, whenever its configuration is set or
/// invalidated. One for a former configuration is dropped: the one for the present one is on its way. The
/// host must live for as long as anybody is to be translated for; the bridge must outlive it. Nothing of it
/// is ever on a screen.
class TranslationHostView : public QObject {
    Q_OBJECT

public:
    explicit TranslationHostView(TranslationBridge &bridge, QObject *parent = nullptr);

private:
    void requestSession();

    TranslationBridge &m_bridge;
};

} // namespace quillora
