#include "ui/ModelListView.h"

#include "platform/MainQueue.h"
#include "platform/Platform.h"
#include "ui/ThinScrollBar.h"

#include <QLabel>
#include <QPointer>
#include <QVBoxLayout>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace quillora {

namespace {

/// As many as are made in a fraction of a frame.
constexpr qsizetype groupsAtATime = 3;

} // namespace

ModelListView::ModelListView(Models &models, QWidget *parent) : QScrollArea(parent), m_models(models) {
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(true);
    setFocusPolicy(Qt::NoFocus);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn); // one that came would make all rows narrower
    setVerticalScrollBar(new ThinScrollBar(this));

    auto *list = new QWidget;
    m_emptiness = new QLabel;
    m_emptiness->setObjectName(u"emptiness"_s);
    m_emptiness->setAlignment(Qt::AlignCenter);
    m_emptiness->setWordWrap(true);
    m_emptiness->setForegroundRole(QPalette::PlaceholderText);
    m_stack = new QVBoxLayout(list);
    m_stack->setContentsMargins(0, 0, 0, 0);
    m_stack->setSpacing(0);
    m_stack->addWidget(m_emptiness);
    m_stack->addStretch(1);
    setWidget(list);
    showEmptiness();
}

void ModelListView::setItems(const QList<Item> &items) {
    qDeleteAll(m_groups);
    m_groups.clear();
    m_items = items;
    fill();
}

void ModelListView::fill() {
    const auto end = std::min(m_items.size(), m_groups.size() + groupsAtATime);
    while (m_groups.size() < end) {
        const Item &item = m_items.at(m_groups.size());
        auto *group = new ModelGroup(m_models, item.entry, item.label);
        m_stack->insertWidget(static_cast<int>(m_groups.size()) + 1, group);
        filter(*group);
        m_groups += group;
    }
    showEmptiness();
    if (m_groups.size() == m_items.size() || m_isFilling)
        return;
    m_isFilling = true;
    platform::Platform::current().mainQueue().async([self = QPointer<ModelListView>(this)] {
        if (!self)
            return;
        self->m_isFilling = false;
        self->fill();
    });
}

void ModelListView::search(const QString &text) {
    m_words = text.toLower().split(u' ', Qt::SkipEmptyParts);
    for (ModelGroup *group : m_groups)
        filter(*group);
    showEmptiness();
}

void ModelListView::filter(ModelGroup &group) { group.setVisible(group.matches(m_words)); }

void ModelListView::showEmptiness() {
    const bool isAnythingShown = std::any_of(m_groups.begin(), m_groups.end(),
                                             [](const ModelGroup *group) { return !group->isHidden(); });
    m_emptiness->setVisible(!isAnythingShown && m_groups.size() == m_items.size());
    m_emptiness->setText(m_items.isEmpty() ? u"There are no models for this."_s
                                           : u"No language here goes by that name."_s);
}

void ModelListView::refresh(const QString &id) {
    for (ModelGroup *group : m_groups) {
        if (group->hasModel(id))
            group->refresh();
    }
}

void ModelListView::refresh(const platform::ModelTask &task) {
    for (ModelGroup *group : m_groups) {
        if (group->task() == task)
            group->refresh();
    }
}

} // namespace quillora
