#include "controller/AppController.h"

#include "platform/Platform.h"
#include "platform/UserDefaults.h"

namespace quillora {

using platform::Platform;

namespace {
const QString hotKeyKey = u"hotKey"_qs;
const QString unusableText = u"Use Ctrl, Option, or Cmd with another key."_qs;
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
    setStatusText(u"Press a shortcut with Ctrl, Option, or Cmd."_qs);
}

void AppController::cancelHotKeyRecording() {
    setRecordingHotKey(false);
    setStatusText(u"Hotkey unchanged."_qs);
}

void AppController::rejectRecordedHotKey() { setStatusText(unusableText); }

void AppController::setRecordedHotKey(const AppHotKey &hotKey) {
    if (!hotKey.isUsable()) {
        setStatusText(unusableText);
        return;
    }
    if (onHotKeyChangeRequested && !onHotKeyChangeRequested(hotKey)) {
        setRecordingHotKey(false);
        fail(u"Could not register "_qs + hotKey.displayName() + u'.');
        return;
    }
    setHotKey(hotKey);
    setRecordingHotKey(false);
    storeHotKey(hotKey);
    setStatusText(u"Hotkey updated to "_qs + hotKey.displayName() + u'.');
}

void AppController::resetHotKey() { setRecordedHotKey(AppHotKey::defaultValue); }

} // namespace quillora
