#pragma once

#include "fakes/CallLog.h"
#include "fakes/FakeMainQueue.h"
#include "platform/HotKeys.h"
#include "platform/KeyPositions.h"

#include <QSet>

#include <map>
#include <memory>
#include <optional>
#include <utility>

namespace quillora::test {

using namespace Qt::StringLiterals;

class FakeHotKeys : public platform::HotKeys {
public:
    FakeHotKeys(CallLog &log, FakeMainQueue &queue) : m_log(log), m_queue(queue) {}

    std::unique_ptr<platform::TakenHotKey> take(const platform::KeyCombination &combination,
                                                platform::HotKeyListener listener) override {
        m_log.add(u"hotkeys.take %1:%2"_s.arg(combination.keyCode).arg(combination.modifiers));
        const bool isPossible = (combination.modifiers & platform::hotKeyModifiers) &&
                                !platform::isModifierPosition(combination.keyCode);
        if (!isPossible || isTakenElsewhere(combination) || isTaken(combination))
            return nullptr;
        taken[++m_lastNumber] = {combination, std::move(listener)};
        return std::make_unique<Taken>(*this, m_lastNumber);
    }
    std::unique_ptr<platform::HotKeySuspension> suspend() override {
        return std::make_unique<Suspension>(*this);
    }

    /// The user presses a key with modifiers held, and lets it go.
    void keyDown(quint32 keyCode, quint32 modifiers) {
        if (isSuspended())
            return;
        const auto pressed = find([=](const HotKey &hotKey) {
            return hotKey.combination.keyCode == keyCode && known(hotKey.combination).modifiers == modifiers;
        });
        if (!pressed || taken[*pressed].isLost || std::exchange(taken[*pressed].isDown, true))
            return;
        const auto listener = taken[*pressed].listener;
        listener.pressed();
    }
    void keyUp(quint32 keyCode) {
        const auto isHeld = [=](const HotKey &hotKey) {
            return hotKey.combination.keyCode == keyCode && hotKey.isDown;
        };
        for (auto held = find(isHeld); held; held = find(isHeld)) {
            const auto listener = taken[*held].listener;
            taken[*held].isDown = false;
            listener.released();
        }
    }

    /// The user presses the key of the one combination that is taken, and lets it go.
    void press() { keyDown(combination().keyCode, known(combination()).modifiers); }
    void release() { keyUp(combination().keyCode); }

    /// Whoever decides about a taken combination has made up his mind: on some desktops that comes after the
    /// taking, and is told in words of theirs.
    void decide(const platform::KeyCombination &about, const platform::HotKeyOutcome &outcome) {
        const auto number = find([&](const HotKey &hotKey) { return hotKey.combination == about; });
        using Kind = platform::HotKeyOutcome::Kind;
        taken.at(number.value()).isLost = outcome.kind == Kind::refused || outcome.kind == Kind::lost;
        tellLater(*number, outcome);
    }

    bool isSuspended() const { return m_suspensions > 0; }
    /// The one combination that is taken.
    platform::KeyCombination combination() const {
        return taken.empty() ? platform::KeyCombination{} : taken.begin()->second.combination;
    }

    struct HotKey {
        platform::KeyCombination combination;
        platform::HotKeyListener listener;
        bool isDown = false; ///< its press has been delivered
        bool isLost = false;
    };

    std::map<quint64, HotKey> taken;                  ///< by the order in which they were
    QSet<std::pair<quint32, quint32>> takenElsewhere; ///< key code, modifiers

private:
    static constexpr quint32 knownModifiers = platform::hotKeyModifiers | platform::shiftModifier;

    class Taken : public platform::TakenHotKey {
    public:
        Taken(FakeHotKeys &hotKeys, quint64 number) : m_hotKeys(hotKeys), m_number(number) {}
        ~Taken() override { m_hotKeys.giveBack(m_number); }

    private:
        FakeHotKeys &m_hotKeys;
        quint64 m_number;
    };

    class Suspension : public platform::HotKeySuspension {
    public:
        explicit Suspension(FakeHotKeys &hotKeys) : m_hotKeys(hotKeys) {
            ++m_hotKeys.m_suspensions;
            m_hotKeys.m_log.add(u"hotkeys.suspend"_s);
        }
        ~Suspension() override {
            m_hotKeys.m_log.add(u"hotkeys.resume"_s);
            if (--m_hotKeys.m_suspensions == 0)
                m_hotKeys.askAgain();
        }

    private:
        FakeHotKeys &m_hotKeys;
    };

    static platform::KeyCombination known(platform::KeyCombination combination) {
        combination.modifiers &= knownModifiers;
        return combination;
    }
    bool isTaken(const platform::KeyCombination &combination) const {
        return find([&](const HotKey &hotKey) { return known(hotKey.combination) == known(combination); })
            .has_value();
    }
    bool isTakenElsewhere(const platform::KeyCombination &combination) const {
        return takenElsewhere.contains({combination.keyCode, combination.modifiers});
    }

    template <typename Condition>
    std::optional<quint64> find(Condition condition) const {
        for (const auto &[number, hotKey] : taken) {
            if (condition(hotKey))
                return number;
        }
        return {};
    }

    void giveBack(quint64 number) {
        m_log.add(u"hotkeys.giveBack"_s);
        const auto removed = taken.extract(number);
        if (removed.mapped().isDown)
            removed.mapped().listener.released();
    }

    /// Other programs may have taken or given back something meanwhile.
    void askAgain() {
        for (auto &[number, hotKey] : taken) {
            const bool isLost = isTakenElsewhere(hotKey.combination);
            if (std::exchange(hotKey.isLost, isLost) != isLost)
                tellLater(number, {.kind = isLost ? platform::HotKeyOutcome::Kind::lost
                                                  : platform::HotKeyOutcome::Kind::hadAgain});
        }
    }
    void tellLater(quint64 number, const platform::HotKeyOutcome &outcome) {
        m_queue.async([this, life = std::weak_ptr(m_life), number, outcome] {
            if (life.lock())
                tell(number, outcome);
        });
    }
    void tell(quint64 number, const platform::HotKeyOutcome &outcome) {
        const auto hotKey = taken.find(number);
        if (hotKey == taken.end())
            return;
        const auto listener = hotKey->second.listener;
        listener.outcome(outcome);
    }

    CallLog &m_log;
    FakeMainQueue &m_queue;
    std::shared_ptr<int> m_life = std::make_shared<int>(); ///< the queue lives longer than this
    quint64 m_lastNumber = 0;
    int m_suspensions = 0;
};

} // namespace quillora::test
