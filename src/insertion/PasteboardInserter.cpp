#include "insertion/PasteboardInserter.h"

#include "platform/Keystrokes.h"
#include "platform/MainQueue.h"
#include "platform/Pasteboard.h"
#include "platform/Platform.h"

#include <utility>

namespace quillora {

using platform::Platform;
using namespace std::chrono_literals;

namespace {

/// Time for the target to come to the front.
constexpr auto keystrokeDelay = 150ms;
/// Time for the target to read the pasteboard.
constexpr auto restoreDelay = 800ms;

/// What a text displaces that stays for good.
constexpr std::nullptr_t standsInForNothing = nullptr;

void giveBackLater(const std::function<void()> &giveBack) {
    Platform::current().mainQueue().asyncAfter(restoreDelay, giveBack);
}

} // namespace

bool PasteboardInserter::hasAccessibilityAccess() const {
    return Platform::current().keystrokes().isTrusted();
}

bool PasteboardInserter::requestAccessibilityAccess() const {
    auto &keystrokes = Platform::current().keystrokes();
    return keystrokes.isTrusted() || keystrokes.isTrustedWithPrompt();
}

bool PasteboardInserter::copy(const QString &text) const {
    return Platform::current().pasteboard().write(text, standsInForNothing);
}

bool PasteboardInserter::paste(const QString &text, const platform::RunningApplicationHandle &target,
                               std::function<void()> onTaken) const {
    if (!hasAccessibilityAccess())
        return false;

    auto &pasteboard = Platform::current().pasteboard();
    auto saved = pasteboard.save();
    const bool isOurs = pasteboard.write(text, saved);
    if (target)
        target->activate({});
    else
        Platform::current().workspace().yieldFocus();
    ++m_restores->pending;
    const auto giveBack = [saved = std::move(saved), restores = m_restores] {
        Platform::current().pasteboard().restore(saved);
        --restores->pending;
        if (const auto observer = restores->observer)
            observer();
    };
    // Whether a paste gives the text; tells if it does not.
    auto confirm = [text, isOurs, onTaken = std::move(onTaken)] {
        const bool isGiven = isOurs && Platform::current().pasteboard().gives(text);
        if (!isGiven && onTaken)
            onTaken();
        return isGiven;
    };
    Platform::current().mainQueue().asyncAfter(keystrokeDelay, [giveBack, confirm = std::move(confirm)] {
        // Posted or not: what was saved comes back either way.
        const auto andThen = [giveBack](bool) { giveBackLater(giveBack); };
        if (confirm()) // and once more right before the keys: to prepare them may take its time
            Platform::current().keystrokes().postPasteChord(confirm, andThen);
        else
            giveBackLater(giveBack);
    });
    return true;
}

} // namespace quillora
