#include "ui/ModelGroup.h"

#include "ui/ModelRow.h"
#include "ui/PanelButton.h"

#include <QVBoxLayout>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace quillora {

namespace {

constexpr int padding = 10;
constexpr int spacing = 8;
constexpr int indent = 20;

bool beginsAWord(const QString &words, const QString &typed) {
    const QStringList all = words.split(u' ', Qt::SkipEmptyParts);
    return std::any_of(all.begin(), all.end(), [&](const QString &word) { return word.startsWith(typed); });
}

} // namespace

ModelGroup::ModelGroup(Models &models, const ModelEntry &entry, const Label &label, QWidget *parent)
    : QWidget(parent), m_models(models), m_entry(entry), m_label(label), m_stack(new QVBoxLayout(this)),
      m_lead(new ModelRow(models, entry.task, entry.lead, {label.title, label.spoken})) {
    setObjectName(u"modelGroup"_s);
    m_stack->setContentsMargins(0, padding, 0, padding);
    m_stack->setSpacing(spacing);
    m_stack->addWidget(m_lead);
    connect(m_lead, &ModelRow::performed, this, &ModelGroup::refresh);
    if (m_entry.choices.size() < 2)
        return;
    m_expander = new PanelButton(PanelButton::Look::compact);
    m_expander->setObjectName(u"otherChoices"_s);
    m_stack->addWidget(m_expander, 0, Qt::AlignLeft);
    connect(m_expander, &PanelButton::clicked, this, &ModelGroup::toggleOthers);
    nameExpander();
}

bool ModelGroup::matches(const QStringList &words) const {
    const QString all = m_label.words + u' ' + m_entry.choices.join(u' ');
    return std::all_of(words.begin(), words.end(),
                       [&all](const QString &word) { return beginsAWord(all, word); });
}

void ModelGroup::refresh() {
    if (!isOpen())
        m_entry.lead = ModelList::lead(m_models, m_entry.task, m_entry.choices).value_or(m_entry.lead);
    m_lead->showModel(m_entry.lead);
    if (m_others)
        showOthers();
    updateGeometry(); // as in the rows
}

bool ModelGroup::isOpen() const { return m_others && !m_others->isHidden(); }

void ModelGroup::nameExpander() {
    const auto count = m_entry.choices.size() - 1;
    const QString text = isOpen()     ? u"Fewer choices"_s
                         : count == 1 ? u"1 other choice"_s
                                      : u"%1 other choices"_s.arg(count);
    m_expander->setText(text);
    m_expander->setAccessibleName(text + u" for "_s + m_label.spoken);
    m_expander->updateGeometry();
}

void ModelGroup::toggleOthers() {
    if (!m_others) {
        m_others = new QWidget(this);
        auto *rows = new QVBoxLayout(m_others);
        const bool isLeftToRight = layoutDirection() == Qt::LeftToRight;
        rows->setContentsMargins(isLeftToRight ? indent : 0, 0, isLeftToRight ? 0 : indent, 0);
        rows->setSpacing(spacing);
        m_stack->addWidget(m_others);
        m_others->setVisible(true);
    } else {
        m_others->setVisible(m_others->isHidden());
    }
    refresh();
    nameExpander();
}

/// In the order of the choices, without the one that leads.
void ModelGroup::showOthers() {
    QStringList others = m_entry.choices;
    others.removeAll(m_entry.lead);
    for (qsizetype i = 0; i < others.size(); ++i) {
        if (i < m_otherRows.size()) {
            m_otherRows.at(i)->showModel(others.at(i));
            continue;
        }
        auto *row = new ModelRow(m_models, m_entry.task, others.at(i), {{}, m_label.spoken});
        connect(row, &ModelRow::performed, this, &ModelGroup::refresh);
        m_others->layout()->addWidget(row);
        m_otherRows += row;
    }
}

} // namespace quillora
