#pragma once

#include "models/ModelActions.h"

#include <QWidget>

class QBoxLayout;

namespace quillora {

class LimitedLabel;
class PanelButton;
class ProgressLine;
class TextLink;

/// A model that may do a task: what it is, what there is of it, and what can be done with it.
class ModelRow : public QWidget {
    Q_OBJECT

public:
    /// How the row is called, to whoever sees it and to whoever hears it.
    struct Title {
        QString shown;
        QString spoken; ///< as in "Install German"
    };

    /// `models` outlives the row.
    ModelRow(Models &models, const platform::ModelTask &task, const QString &id, const Title &title,
             QWidget *parent = nullptr);

    const QString &id() const { return m_id; }

    /// Shows what there is now of that one of the task's models.
    void showModel(const QString &id);

    bool eventFilter(QObject *watched, QEvent *event) override;

Q_SIGNALS:
    /// Something was done with the model: what the rows of its task show is no longer so.
    void performed();

protected:
    void changeEvent(QEvent *event) override;

private:
    void describe();
    void describeOrigin();
    void openLicence();
    void refresh();
    void fitFacts();
    void applyFonts();
    void showState();
    void showProgress();
    void showActions();
    PanelButton &button(qsizetype index);
    QString facts() const;

    Models &m_models;
    platform::ModelTask m_task;
    QString m_id;
    Title m_title;
    platform::ModelDescription m_description;
    QList<ModelAction> m_actions;
    bool m_isLicenceUnopened = false; ///< nothing here could show it

    // Owned by this widget.
    QBoxLayout *m_texts;
    QBoxLayout *m_controls;
    LimitedLabel *m_name;
    LimitedLabel *m_facts;
    LimitedLabel *m_origin;
    TextLink *m_licence;       ///< behind the origin, where the licence can be read somewhere
    LimitedLabel *m_checksums; ///< behind that link, where not all of them are known
    LimitedLabel *m_state;
    ProgressLine *m_progress = nullptr; ///< none until there was a progress
    QList<PanelButton *> m_buttons;     ///< as many as were ever needed
};

} // namespace quillora
