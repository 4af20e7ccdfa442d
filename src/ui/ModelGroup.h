#pragma once

#include "models/ModelList.h"

#include <QWidget>

class QVBoxLayout;

namespace quillora {

class ModelRow;
class PanelButton;

/// A language, or a pair of them, in the list of models: the model that does it, and the others that could.
class ModelGroup : public QWidget {
    Q_OBJECT

public:
    struct Label {
        QString title;  ///< as in "🇩🇪 German"
        QString spoken; ///< the same without flags
        QString words;  ///< all that it is found by, in lower case
    };

    /// `models` outlives the group.
    ModelGroup(Models &models, const ModelEntry &entry, const Label &label, QWidget *parent = nullptr);

    /// Whether each of the words, in lower case, begins a word of what the group is found by.
    bool matches(const QStringList &words) const;

    const platform::ModelTask &task() const { return m_entry.task; }
    bool hasModel(const QString &id) const { return m_entry.choices.contains(id); }

    /// Shows how things stand now. Another model that does the task takes the lead, unless rows would change
    /// places under the pointer.
    void refresh();

private:
    bool isOpen() const;
    void toggleOthers();
    void showOthers();
    void nameExpander();

    Models &m_models;
    ModelEntry m_entry;
    Label m_label;

    // Owned by this widget.
    QVBoxLayout *m_stack;
    ModelRow *m_lead;
    PanelButton *m_expander = nullptr; ///< none where there is no choice
    QWidget *m_others = nullptr;       ///< none until they were asked for
    QList<ModelRow *> m_otherRows;
};

} // namespace quillora
