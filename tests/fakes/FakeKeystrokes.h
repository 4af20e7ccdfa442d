#pragma once

#include "fakes/CallLog.h"
#include "platform/Keystrokes.h"

#include <functional>
#include <utility>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// A keyboard that nobody else types on.
class FakeKeystrokes : public platform::Keystrokes {
public:
    explicit FakeKeystrokes(CallLog &log) : m_log(log) {}

    bool isTrusted() override { return isTrustGranted; }
    bool isTrustedWithPrompt() override {
        m_log.add(u"keystrokes.prompt"_s);
        isTrustGranted |= isTrustGrantedWhenAsked;
        return isTrustGranted;
    }
    void setTrustObserver(TrustObserver observer) override { m_trustObserver = std::move(observer); }
    void postPasteChord(const Condition &condition, Outcome outcome) override {
        if (outcomesComeLater)
            m_pendingOutcome = std::move(outcome);
        if (onPrepare)
            onPrepare();
        const bool isPosted = isTrustGranted && !refusesChords && condition();
        if (isPosted) {
            m_log.add(u"keystrokes.paste"_s);
            ++m_pasteCount;
            if (onPaste)
                onPaste();
        }
        if (!outcomesComeLater)
            outcome(isPosted);
    }

    /// The desktop says what has become of the chord.
    void tellOutcome(bool isPosted) { std::exchange(m_pendingOutcome, nullptr)(isPosted); }

    /// The desktop gives or withdraws its trust, and says so.
    void setTrust(bool isGranted) {
        isTrustGranted = isGranted;
        if (const auto observer = m_trustObserver)
            observer();
    }

    /// How often the program in front has been asked to paste.
    int pasteCount() const { return m_pasteCount; }

    bool isTrustGranted = true;
    bool isTrustGrantedWhenAsked = false; ///< by the user, at the prompt
    bool refusesChords = false;           ///< though it trusts us
    bool outcomesComeLater = false;       ///< when they are told
    std::function<void()> onPrepare;      ///< what happens while the chord is prepared
    std::function<void()> onPaste;        ///< what the program in front does

private:
    CallLog &m_log;
    TrustObserver m_trustObserver;
    Outcome m_pendingOutcome;
    int m_pasteCount = 0;
};

} // namespace quillora::test
