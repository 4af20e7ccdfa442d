#pragma once

#include "controller/AnyChange.h"
#include "controller/AppController.h"
#include "fakes/FakePlatform.h"
#include "translation/TranslationHostView.h"

#include <QRegularExpression>

#include <memory>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// A controller on a desktop of fakes, with an editor in front and the callbacks of a shell that writes them
/// down.
class ControllerFixture {
public:
    explicit ControllerFixture(std::function<void(FakePlatform &)> arrange = {}) {
        editor = platform.workspaceFake.launch(u"editor"_s);
        platform.workspaceFake.frontmost = editor;
        platform.speech.locales = {u"en-US"_s, u"es-ES"_s, u"ru-RU"_s, u"kk-KZ"_s};
        if (arrange)
            arrange(platform);
        controller = std::make_unique<AppController>();
        host = std::make_unique<TranslationHostView>(controller->translationBridge());
        controller->onStateChanged = [this] {
            platform.log.add(u"onStateChanged recording=%1 processing=%2"_s.arg(controller->isRecording())
                                 .arg(controller->isProcessing()));
        };
        controller->onNeedsAttention = [this] { platform.log.add(u"onNeedsAttention"_s); };
        onAnyChange(*controller, [this](size_t) {
            if (statuses.isEmpty() || statuses.last() != controller->statusText())
                statuses += controller->statusText();
        });
        platform.log.clear();
    }
    ~ControllerFixture() {
        endController();
        platform.run();
    }

    void endController() {
        host.reset();
        controller.reset();
    }

    void run() { platform.run(); }
    QStringList takeCalls() { return platform.log.take(); }
    /// The calls of one kind, by their beginning, since the last time any were taken.
    QStringList takeCalls(const QString &prefix) {
        return platform.log.take().filter(QRegularExpression(u"^"_s + prefix));
    }
    QStringList takeStatuses() { return std::exchange(statuses, {}); }

    /// Holds the key, speaks, and lets go; everything runs to its end but the delayed steps.
    void dictate(const QString &text) {
        controller->hotKeyPressed();
        run();
        controller->hotKeyReleased();
        platform.speech.deliverFinal(text);
        run();
    }

    FakePlatform platform;
    std::shared_ptr<FakeRunningApplication> editor;
    std::unique_ptr<AppController> controller;
    std::unique_ptr<TranslationHostView> host;
    QStringList statuses; ///< each text that the status line showed
};

} // namespace quillora::test
