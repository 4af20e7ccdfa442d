#pragma once

#include "controller/AppController.h"
#include "fakes/FakePlatform.h"
#include "translation/TranslationHostView.h"
#include "ui/ContentView.h"

#include <QApplication>

#include <memory>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// A panel over a real controller on a desktop of fakes.
class PanelHarness {
public:
    /// `prepare` sets the desktop up before the controller starts.
    explicit PanelHarness(const std::function<void(FakePlatform &)> &prepare = {}) {
        platform.speech.locales =
            QStringList{u"en-US"_s, u"en-GB"_s, u"es-ES"_s, u"ru-RU"_s, u"de-DE"_s, u"kk-KZ"_s, u"nl-NL"_s};
        if (prepare)
            prepare(platform);
        controller = std::make_unique<AppController>();
        translationHost = std::make_unique<TranslationHostView>(controller->translationBridge());
        panel = std::make_unique<ContentView>(*controller);
    }

    ~PanelHarness() {
        panel.reset();
        translationHost.reset();
        controller.reset();
        platform.run();
    }

    template <typename Widget>
    Widget &find(const QString &objectName) const {
        auto *widget = panel->findChild<Widget *>(objectName);
        Q_ASSERT(widget);
        return *widget;
    }

    void show() {
        panel->show();
        panel->activateWindow();
        QApplication::setActiveWindow(panel.get());
    }

    // The ways into each state; each starts from rest.
    void startRecording() {
        controller->startRecording();
        platform.run();
    }
    void say(const QString &words) {
        platform.speech.deliver(words);
        platform.run();
    }
    /// The recording has stopped and its final transcript has not come yet.
    void startProcessing() {
        startRecording();
        controller->stopRecording();
        platform.run();
    }
    /// What comes after `startProcessing`: the words are translated and inserted.
    void finish(const QString &words) {
        platform.speech.deliverFinal(words);
        platform.run();
        platform.queue.advance(std::chrono::seconds(2));
    }
    void dictate(const QString &words) {
        startProcessing();
        finish(words);
    }
    /// Processing with the last translation still there. The pair must have models.
    void startPreparingModels() {
        platform.translation.replies = FakeTranslators::Replies::byHand;
        controller->prepareTranslationModels();
        platform.run();
    }
    void useHostedEngine() {
        controller->setTranslationEngineIdentifier(rawValue(TranslationEngine::openAINatural));
    }

    FakePlatform platform;
    std::unique_ptr<AppController> controller;
    std::unique_ptr<TranslationHostView> translationHost;
    std::unique_ptr<ContentView> panel;
};

} // namespace quillora::test
