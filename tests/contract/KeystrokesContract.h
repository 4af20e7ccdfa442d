#pragma once

#include "platform/Keystrokes.h"
#include "support/ChildProcess.h"

#include <QTest>

#include <memory>

namespace quillora::test {

/// A program that has the keyboard focus, and takes pastes.
class KeystrokesHarness {
public:
    virtual ~KeystrokesHarness() = default;

    virtual platform::Keystrokes &keystrokes() = 0;

    /// How many pastes it has been asked for.
    virtual int pasteCount() = 0;

    /// How many keys are down.
    virtual int keysDown() = 0;

    /// Returns once every keystroke has arrived.
    virtual void settle() = 0;
};

/// What every implementation of Keystrokes does where it is trusted.
class KeystrokesContract : public QObject {
    Q_OBJECT

public:
    using MakeHarness = std::function<std::unique_ptr<KeystrokesHarness>()>;

    explicit KeystrokesContract(MakeHarness makeHarness) : m_makeHarness(std::move(makeHarness)) {}

private Q_SLOTS:
    void init() { m_harness = m_makeHarness(); }
    void cleanup() { m_harness.reset(); }

    void trustIsThereWithAndWithoutAsking() {
        QVERIFY(keystrokes().isTrusted());
        QVERIFY(keystrokes().isTrustedWithPrompt());
    }

    void aSourceCanBeMade() {
        QVERIFY(keystrokes().createSource(platform::KeyEventSourceState::hidSystemState));
    }

    void anEventIsTheKeyAndTheDirectionWithoutFlags() {
        const auto source = keystrokes().createSource(platform::KeyEventSourceState::hidSystemState);
        QCOMPARE(keystrokes().createKeyboardEvent(source.get(), 9, true),
                 std::optional(platform::KeyEvent{9, true, 0}));
        QCOMPARE(keystrokes().createKeyboardEvent(source.get(), 49, false),
                 std::optional(platform::KeyEvent{49, false, 0}));
    }

    void anEventNeedsNoSource() { QVERIFY(keystrokes().createKeyboardEvent(nullptr, 9, true)); }

    void commandVPastesOnce() {
        post({9, true, platform::commandKeyFlag});
        post({9, false, platform::commandKeyFlag});
        QTRY_COMPARE(m_harness->pasteCount(), 1);
    }

    void commandVTwicePastesTwice() {
        for (int i = 0; i < 2; ++i) {
            post({9, true, platform::commandKeyFlag});
            post({9, false, platform::commandKeyFlag});
        }
        QTRY_COMPARE(m_harness->pasteCount(), 2);
    }

    void nothingIsHeldAfterCommandV() {
        post({9, true, platform::commandKeyFlag});
        post({9, false, platform::commandKeyFlag});
        m_harness->settle();
        QCOMPARE(m_harness->keysDown(), 0);
    }

    void theKeyGoingUpAlonePastesNothing() {
        post({9, false, platform::commandKeyFlag});
        m_harness->settle();
        QCOMPARE(m_harness->pasteCount(), 0);
        QCOMPARE(m_harness->keysDown(), 0);
    }

    void theKeyWithoutCommandPastesNothing() {
        post({9, true, 0});
        post({9, false, 0});
        m_harness->settle();
        QCOMPARE(m_harness->pasteCount(), 0);
        QCOMPARE(m_harness->keysDown(), 0);
    }

    void anotherKeyWithCommandPastesNothing() {
        post({40, true, platform::commandKeyFlag});
        post({40, false, platform::commandKeyFlag});
        m_harness->settle();
        QCOMPARE(m_harness->pasteCount(), 0);
    }

private:
    platform::Keystrokes &keystrokes() { return m_harness->keystrokes(); }
    void post(const platform::KeyEvent &event) { keystrokes().post(platform::KeyEventTap::hid, event); }

    MakeHarness m_makeHarness;
    std::unique_ptr<KeystrokesHarness> m_harness;
};

} // namespace quillora::test
