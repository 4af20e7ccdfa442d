#pragma once

#include "models/Models.h"
#include "translation/LanguageCatalog.h"

#include <QWidget>

class QCheckBox;
class QLabel;
class QLayout;

namespace quillora {

class LimitedLabel;
class PanelButton;
class Picker;
class ProgressLine;

/// "Dictate in German and translate to English": a whole language at a time. Says what both take, and gets
/// it.
class WantedLanguages : public QWidget {
    Q_OBJECT

public:
    /// `models` outlives it. There is at least one spoken option.
    WantedLanguages(Models &models, const QList<SpokenLanguageOption> &spoken,
                    const QList<TranslationLanguageOption> &targets, QWidget *parent = nullptr);

    /// What is spoken and what it becomes; what these take is ticked.
    void select(const QString &locale, const QString &target);

    /// Shows how things stand now.
    void refresh();

    PanelButton &installButton() { return *m_install; }

protected:
    void changeEvent(QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    /// A task that is part of what is wanted.
    struct Part {
        QCheckBox *box;
        LimitedLabel *standing;
        platform::ModelTask task;
        QString name;
        bool isWanted = true; ///< by the person; ticked if it can be
    };

    QLayout *buildPickers();
    QLayout *buildPart(Part &part, const QString &objectName);
    void refreshPart(Part &part);
    void fitName(Part &part);
    void refreshInstall();
    bool isTranslating() const;
    QList<platform::ModelTask> wantedTasks() const;
    void install();
    void applyFonts();

    Models &m_models;
    QList<SpokenLanguageOption> m_spoken;
    QList<TranslationLanguageOption> m_targets;
    SpokenLanguageOption m_source;
    TranslationLanguageOption m_target;

    // Owned by this widget.
    QLabel *m_title;
    Picker *m_sourcePicker;
    Picker *m_targetPicker;
    Part m_hearing{};
    Part m_translating{};
    ProgressLine *m_progress;
    LimitedLabel *m_summary;
    PanelButton *m_install;
    QList<QLabel *> m_captions;
};

} // namespace quillora
