#pragma once

#include "models/ModelShelf.h"
#include "ui/ModelsWindow.h"

#include <QApplication>

#include <memory>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// The Models window over fakes.
class ModelsHarness {
public:
    /// `prepare` sets the desktop up before the window is made.
    explicit ModelsHarness(const std::function<void(FakePlatform &)> &prepare = fillShelf) {
        platform.speech.locales = QStringList{u"en-US"_s, u"en-GB"_s, u"es-ES"_s, u"ru-RU"_s,
                                              u"de-DE"_s, u"fr-FR"_s, u"kk-KZ"_s, u"nl-NL"_s};
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
