#pragma once

#include "models/ModelShelf.h"
#include "ui/ModelsWindow.h"

#include <QApplication>

#include <memory>

namespace quillora::test {

/// The Models window over fakes.
class ModelsHarness {
public:
    /// `prepare` sets the desktop up before the window is made.
    explicit ModelsHarness(const std::function<void(FakePlatform &)> &prepare = fillShelf) {
        platform.speech.locales = QStringList{u"en-US"_qs, u"en-GB"_qs, u"es-ES"_qs, u"ru-RU"_qs,
                                              u"de-DE"_qs, u"fr-FR"_qs, u"kk-KZ"_qs, u"nl-NL"_qs};
        prepare(platform);
        models = std::make_unique<Models>(platform.models, platform.routes, platform.consent);
        window = std::make_unique<ModelsWindow>(
            *models, platform.space,
            ModelsWindow::Languages{LanguageCatalog::spokenOptions(), LanguageCatalog::targets()});
        platform.run();
    }

    ~ModelsHarness() {
        window.reset();
        models.reset();
        platform.run();
    }

    template <typename Widget>
    Widget &find(const QString &objectName) const {
        auto *widget = window->findChild<Widget *>(objectName);
        Q_ASSERT(widget);
        return *widget;
    }

    void show() {
        window->resize(window->sizeHint());
        window->show();
        window->activateWindow();
        QApplication::setActiveWindow(window.get());
        platform.run();
    }

    FakePlatform platform;
    std::unique_ptr<Models> models;
    std::unique_ptr<ModelsWindow> window;
};

} // namespace quillora::test
