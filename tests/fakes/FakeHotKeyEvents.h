#pragma once

#include "fakes/CallLog.h"
#include "platform/HotKeyEvents.h"
#include "platform/KeyPositions.h"

#include <QSet>

#include <algorithm>
#include <map>
#include <utility>

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
        const bool isPossible =
            (modifiers & platform::hotKeyModifiers) && !platform::isModifierPosition(keyCode);
        if (!isPossible || takenElsewhere.contains({keyCode, modifiers}) || isRegistered(keyCode, modifiers))
            return refused;
        hotKeys[++m_lastReference] = {keyCode, modifiers, identifier, false};
        out = m_lastReference;
        return noError;
    }
    Status unregisterEventHotKey(platform::HotKeyReference hotKey) override {
        m_log.add(u"hotkeys.unregister"_qs);
        const auto removed = hotKeys.extract(hotKey);
        if (!removed)
            return refused;
        if (removed.mapped().isDown)
            deliver(platform::hotKeyReleasedKind, removed.mapped().identifier);
        return noError;
    }
    void suspend() override {
        m_log.add(u"hotkeys.suspend"_qs);
        isSuspended = true;
    }
    void resume() override {
        m_log.add(u"hotkeys.resume"_qs);
        isSuspended = false;
    }

    /// The user presses a key with modifiers held, and lets it go.
    void keyDown(quint32 keyCode, quint32 modifiers) {
        keysDown.insert(keyCode);
        if (isSuspended)
            return;
        changeAll(platform::hotKeyPressedKind, [=](HotKey &hotKey) {
            const bool isMeant =
                hotKey.keyCode == keyCode && (hotKey.modifiers & knownModifiers) == modifiers;
            return isMeant && !std::exchange(hotKey.isDown, true);
        });
    }
    void keyUp(quint32 keyCode) {
        keysDown.remove(keyCode);
        changeAll(platform::hotKeyReleasedKind, [=](HotKey &hotKey) {
            return hotKey.keyCode == keyCode && std::exchange(hotKey.isDown, false);
        });
    }

    /// The user presses the key of the registered combination, and lets it go.
    void press() {
        for (const auto &[keyCode, modifiers] : registered())
            keyDown(keyCode, modifiers);
    }
    void release() {
        for (const auto &[keyCode, modifiers] : registered())
            keyUp(keyCode);
    }

    /// Delivers an event to every handler, whatever it asked for.
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
        bool isDown; ///< its press has been delivered
    };

    std::map<platform::EventHandlerReference, Handler> handlers;
    std::map<platform::HotKeyReference, HotKey> hotKeys;
    bool refusesHandlers = false;
    QSet<std::pair<quint32, quint32>> takenElsewhere; ///< key code, modifiers
    QSet<quint32> keysDown;
    bool isSuspended = false;

private:
    static constexpr quint32 knownModifiers = 0x1b00;

    bool isRegistered(quint32 keyCode, quint32 modifiers) const {
        return registered().contains({keyCode, modifiers & knownModifiers});
    }
    QList<std::pair<quint32, quint32>> registered() const {
        QList<std::pair<quint32, quint32>> combinations;
        for (const auto &[reference, hotKey] : hotKeys)
            combinations.append({hotKey.keyCode, hotKey.modifiers & knownModifiers});
        return combinations;
    }

    /// Sends the kind for every hotkey for which `change` says that something happened.
    template <typename Change>
    void changeAll(quint32 kind, Change change) {
        QList<platform::HotKeyIdentifier> changed;
        for (auto &[reference, hotKey] : hotKeys) {
            if (change(hotKey))
                changed.append(hotKey.identifier);
        }
        for (const auto &identifier : changed)
            deliver(kind, identifier);
    }

    void deliver(quint32 kind, const platform::HotKeyIdentifier &identifier) {
        const platform::HotKeyEvent event{kind, identifier};
        const auto installed = handlers;
        for (const auto &[reference, handler] : installed) {
            if (std::ranges::count(handler.types,
                                   platform::EventTypeSpecification{platform::keyboardEventClass, kind}))
                handler.handler(&event);
        }
    }

    CallLog &m_log;
    quint64 m_lastReference = 0;
};

} // namespace quillora::test
