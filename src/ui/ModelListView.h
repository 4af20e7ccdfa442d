#pragma once

#include "models/ModelList.h"
#include "ui/ModelGroup.h"

#include <QScrollArea>

class QLabel;
class QVBoxLayout;

namespace quillora {

/// Models by what they do, in a list that scrolls. It fills itself a few groups at a time, so that nothing
/// waits for a long one.
class ModelListView : public QScrollArea {
    Q_OBJECT

public:
    struct Item {
        ModelEntry entry;
        ModelGroup::Label label;
    };

    /// `models` outlives it.
    explicit ModelListView(Models &models, QWidget *parent = nullptr);

    /// Takes the place of all that was in it.
    void setItems(const QList<Item> &items);

    /// Shows what matches every word of it.
    void search(const QString &text);

    /// Shows how things stand with that model now.
    void refresh(const QString &id);

    /// The same, of what does a task.
    void refresh(const platform::ModelTask &task);

    const QList<ModelGroup *> &groups() const { return m_groups; }

private:
    void fill();
    void filter(ModelGroup &group);
    void showEmptiness();

    Models &m_models;
    QList<Item> m_items; ///< those behind the number of groups are still to come
    QStringList m_words; ///< that are searched for
    bool m_isFilling = false;

    // Owned by this widget.
    QVBoxLayout *m_stack;
    QLabel *m_emptiness;
    QList<ModelGroup *> m_groups;
};

} // namespace quillora
