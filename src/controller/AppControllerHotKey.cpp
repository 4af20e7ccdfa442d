#include "controller/AppController.h"

#include "platform/Platform.h"
#include "platform/UserDefaults.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace quillora {

using platform::Platform;

namespace {
const QString hotKeyKey = u"hotKey"_s;
const QString unusableText = u"Use Ctrl, Option, or Cmd with another key."_s;

QString updatedText(const QString &name) { return u"Hotkey updated to "_s + name + u'.'; }
} // namespace

AppHotKey AppController::storedHotKey() {
    const auto stored = Platform::current().userDefaults().string(hotKeyKey);
    return stored ? AppHotKey::fromStorageValue(*stored).value_or(AppHotKey::defaultValue)
                  : AppHotKey::defaultValue;
}

void AppController::storeHotKey(const AppHotKey &hotKey) {
    Platform::current().userDefaults().setString(hotKey.storageValue(), hotKeyKey);
}

void AppController::startHotKeyRecording() {
    if (m_isRecording || m_isProcessing)
        return;
    setRecordingHotKey(true);
    setStatusText(u"Press a shortcut with Ctrl, Option, or Cmd."_s);
}

void AppController::cancelHotKeyRecording() {
    setRecordingHotKey(false);
    setStatusText(u"Hotkey unchanged."_s);
}

void AppController::rejectRecordedHotKey() { setStatusText(unusableText); }

void AppController::setRecordedHotKey(const AppHotKey &hotKey) {
    if (!hotKey.isUsable()) {
        setStatusText(unusableText);
        return;
    }
    if (onHotKeyChangeRequested && !onHotKeyChangeRequested(hotKey)) {
        setRecordingHotKey(false);
        failToRegister(hotKey);
        return;
    }
    if (hotKey != m_hotKey)
        m_previousHotKey = m_hotKey;
    m_boundHotKeyName.clear();
    setHotKey(hotKey);
    setRecordingHotKey(false);
    storeHotKey(hotKey);
    setStatusText(updatedText(hotKey.displayName()));
}

void AppController::resetHotKey() { setRecordedHotKey(AppHotKey::defaultValue); }

void AppController::noteHotKeyOutcome(const AppHotKey &hotKey, const platform::HotKeyOutcome &outcome) {
    using Kind = platform::HotKeyOutcome::Kind;
    if (hotKey != m_hotKey)
        return;
    m_boundHotKeyName = outcome.desktopWords;
    Q_EMIT hotKeyChanged();
    switch (outcome.kind) {
    case Kind::refused:
        restorePreviousHotKey();
        failToRegister(hotKey);
        break;
    case Kind::lost:
        fail(u"Lost the hotkey "_s + hotKey.displayName() + u". Choose it again, or another one."_s);
        break;
    case Kind::boundElsewhere:
        setStatusText(updatedText(outcome.desktopWords));
        break;
    case Kind::hadAgain:
        setStatusText(u"Hotkey "_s + hotKey.displayName() + u" works again."_s);
        break;
    }
}

/// One that was in the settings at launch has no predecessor, and stays.
void AppController::restorePreviousHotKey() {
    const auto previous = std::exchange(m_previousHotKey, std::nullopt);
    if (!previous)
        return;
    setHotKey(*previous);
    storeHotKey(m_hotKey);
    if (onHotKeyChangeRequested)
        onHotKeyChangeRequested(m_hotKey);
}

void AppController::failToRegister(const AppHotKey &hotKey) {
    fail(u"Could not register "_s + hotKey.displayName() + u'.');
}

} // namespace quillora
