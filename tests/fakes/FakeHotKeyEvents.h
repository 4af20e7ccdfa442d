#pragma once

#include "fakes/CallLog.h"
#include "platform/HotKeyEvents.h"

#include <QSet>

#include <map>

namespace quillora::test {

class FakeHotKeyEvents : public platform::HotKeyEvents {
public:
    static constexpr Status refused = -9878;

    explicit FakeHotKeyEvents(CallLog &log) : m_log(log) {}

    Status installEventHandler(EventHandler handler,
                               const std::vector<platform::EventTypeSpecification> &types,
                               std::optional<platform::EventHandlerReference> &out) override {
        QString kinds;
        for (const auto &type : types)
            kinds += u' ' + QString::number(type.eventKind);
        m_log.add(u"hotkeys.install"_qs + kinds);
        if (refusesHandlers)
            return refused;
        handlers[++m_lastReference] = {std::move(handler), types};
        out = m_lastReference;
        return noError;
    }
    Status removeEventHandler(platform::EventHandlerReference handler) override {
        m_log.add(u"hotkeys.remove"_qs);
        return handlers.erase(handler) ? noError : refused;
    }
    Status registerEventHotKey(quint32 keyCode, quint32 modifiers,
                               const platform::HotKeyIdentifier &identifier, quint32 options,
                               std::optional<platform::HotKeyReference> &out) override {
        m_log.add(u"hotkeys.register %1:%2 %3/%4 options=%5"_qs.arg(keyCode)
                      .arg(modifiers)
                      .arg(identifier.signature, 0, 16)
                      .arg(identifier.number)
                      .arg(options));
        if (takenElsewhere.contains({keyCode, modifiers}))
            return refused;
        hotKeys[++m_lastReference] = {keyCode, modifiers, identifier};
        out = m_lastReference;
        return noError;
    }
    Status unregisterEventHotKey(platform::HotKeyReference hotKey) override {
        m_log.add(u"hotkeys.unregister"_qs);
        return hotKeys.erase(hotKey) ? noError : refused;
    }

    /// The user presses the key of the registered combination, and lets it go.
    void press() { sendForAll(platform::hotKeyPressedKind); }
    void release() { sendForAll(platform::hotKeyReleasedKind); }

    /// Delivers an event as the system would; to the handlers that asked for its kind.
    Status send(const platform::HotKeyEvent *event) {
        Status status = noError;
        const auto installed = handlers;
        for (const auto &[reference, handler] : installed)
            status = handler.handler(event);
        return status;
    }

    struct Handler {
        EventHandler handler;
        std::vector<platform::EventTypeSpecification> types;
    };
    struct HotKey {
        quint32 keyCode;
        quint32 modifiers;
        platform::HotKeyIdentifier identifier;
    };

    std::map<platform::EventHandlerReference, Handler> handlers;
    std::map<platform::HotKeyReference, HotKey> hotKeys;
    bool refusesHandlers = false;
    QSet<std::pair<quint32, quint32>> takenElsewhere; ///< key code, modifiers

private:
    void sendForAll(quint32 kind) {
        const auto registered = hotKeys;
        for (const auto &[reference, hotKey] : registered) {
            const platform::HotKeyEvent event{kind, hotKey.identifier};
            send(&event);
        }
    }

    CallLog &m_log;
    quint64 m_lastReference = 0;
};

} // namespace quillora::test
