#pragma once

#include "models/Models.h"
#include "platform/ModelSpace.h"
#include "translation/LanguageCatalog.h"

#include <QWidget>

class QLineEdit;
class QStackedWidget;

namespace quillora {

class LimitedLabel;
class ModelListView;
class SegmentBar;
class WantedLanguages;

/// What can be dictated and translated on this computer, and the models that it takes: gets them, pauses and
/// removes them. Every control has an object name, by which tests find it.
class ModelsWindow : public QWidget {
    Q_OBJECT

public:
    /// Languages as the panel offers them.
    struct Languages {
        QList<SpokenLanguageOption> spoken; ///< at least one
        QList<TranslationLanguageOption> targets;
    };

    /// `models` and `space` outlive the window.
    ModelsWindow(Models &models, const platform::ModelSpace &space, const Languages &languages,
                 QWidget *parent = nullptr);

    /// What is spoken and what it becomes; what these take is ticked.
    void select(const QString &locale, const QString &target);

    QSize sizeHint() const override;

protected:
    void changeEvent(QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    void build(const Languages &languages);
    QWidget *buildSearch();
    void fillLists(const Languages &languages);
    void showChange(const QString &id);
    void showSpace();
    void applyFonts();

    Models &m_models;
    const platform::ModelSpace &m_space;

    // Owned by this widget.
    WantedLanguages *m_wanted;
    SegmentBar *m_kinds;
    QLineEdit *m_search;
    QStackedWidget *m_lists;
    ModelListView *m_speech;
    ModelListView *m_translation;
    LimitedLabel *m_omissionsText;
    LimitedLabel *m_spaceText;
};

} // namespace quillora
