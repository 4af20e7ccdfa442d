#include "ui/WantedLanguages.h"

#include "models/ModelWords.h"
#include "ui/LanguageLabel.h"
#include "ui/LimitedLabel.h"
#include "ui/PanelButton.h"
#include "ui/Picker.h"
#include "ui/ProgressLine.h"
#include "ui/TypeScale.h"

#include <QCheckBox>
#include <QEvent>
#include <QGridLayout>
#include <QLabel>
#include <QStyle>

using namespace Qt::StringLiterals;

namespace quillora {

using platform::ModelTask;
using Standing = ModelNeed::Standing;

namespace {

constexpr int spacing = 8;
constexpr int captionSpacing = 6;

/// As the lists below call them, in the user's tongue.
QList<Picker::Option> optionsOf(const QList<TranslationLanguageOption> &targets) {
    QList<Picker::Option> options;
    for (const auto &target : targets)
        options += {target.id, target.flag, LanguageLabel::of(target.id).name};
    return options;
}

QString summary(const ModelNeed &need, bool isNothingWanted) {
    if (isNothingWanted)
        return {};
    switch (need.standing) {
    case Standing::ready:
        return u"Everything for this is here."_s;
    case Standing::missing:
        return need.percent ? u"Some of it is on its way."_s : u"Kept on this computer."_s;
    case Standing::arriving:
        return u"On its way. You may close this window."_s;
    case Standing::unserved:
        return {};
    }
    Q_UNREACHABLE();
}

} // namespace

WantedLanguages::WantedLanguages(Models &models, const QList<SpokenLanguageOption> &spoken,
                                 const QList<TranslationLanguageOption> &targets, QWidget *parent)
    : QWidget(parent), m_models(models), m_spoken(spoken), m_targets(targets), m_source(spoken.first()),
      m_target(LanguageCatalog::defaultTarget()), m_title(new QLabel(u"Languages on this computer"_s)),
      m_progress(new ProgressLine), m_summary(new LimitedLabel(1)),
      m_install(new PanelButton(PanelButton::Look::prominent)) {
    m_summary->setForegroundRole(QPalette::PlaceholderText);
    m_install->setObjectName(u"installWanted"_s);
    m_install->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    m_progress->setObjectName(u"wantedProgress"_s);
    m_progress->setAccessibleName(u"How far it is"_s);
    m_summary->setObjectName(u"wantedSummary"_s);

    auto *bottom = new QHBoxLayout;
    bottom->setSpacing(spacing);
    bottom->addWidget(m_summary, 1);
    bottom->addWidget(m_install);
    auto *stack = new QVBoxLayout(this);
    stack->setContentsMargins(0, 0, 0, 0);
    stack->setSpacing(spacing);
    stack->addWidget(m_title, 0, Qt::AlignLeft); // or right, where one reads from there
    stack->addLayout(buildPickers());
    stack->addSpacing(2);
    stack->addLayout(buildPart(m_hearing, u"hearing"_s));
    stack->addLayout(buildPart(m_translating, u"translating"_s));
    stack->addWidget(m_progress);
    stack->addLayout(bottom);
    connect(m_install, &PanelButton::clicked, this, &WantedLanguages::install);
    applyFonts();
    select(m_source.id, m_target.id);
}

QLayout *WantedLanguages::buildPickers() {
    m_sourcePicker = new Picker(u"Dictate in"_s, Picker::optionsOf(m_spoken));
    m_sourcePicker->setObjectName(u"wantedSource"_s);
    m_targetPicker = new Picker(u"and translate to"_s, optionsOf(m_targets));
    m_targetPicker->setObjectName(u"wantedTarget"_s);
    connect(m_sourcePicker, &Picker::picked, this, [this](const QString &id) { select(id, m_target.id); });
    connect(m_targetPicker, &Picker::picked, this, [this](const QString &id) { select(m_source.id, id); });

    auto *grid = new QGridLayout;
    grid->setHorizontalSpacing(spacing);
    grid->setVerticalSpacing(captionSpacing);
    int column = 0;
    for (Picker *picker : {m_sourcePicker, m_targetPicker}) {
        auto *caption = new QLabel(picker->accessibleName());
        caption->setForegroundRole(QPalette::PlaceholderText);
        caption->setBuddy(picker);
        m_captions += caption;
        grid->addWidget(caption, 0, column, Qt::AlignLeft);
        grid->addWidget(picker, 1, column);
        grid->setColumnStretch(column++, 1);
    }
    return grid;
}

QLayout *WantedLanguages::buildPart(Part &part, const QString &objectName) {
    part.box = new QCheckBox;
    part.box->setObjectName(objectName + u"Box"_s);
    part.standing = new LimitedLabel(1);
    part.standing->setObjectName(objectName + u"Standing"_s);
    part.standing->setForegroundRole(QPalette::PlaceholderText);
    connect(part.box, &QCheckBox::clicked, this, [this, &part](bool isChecked) {
        part.isWanted = isChecked;
        refreshInstall();
    });
    auto *row = new QHBoxLayout;
    row->setSpacing(spacing);
    part.box->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    row->addWidget(part.box, 1);
    row->addWidget(part.standing);
    return row;
}

void WantedLanguages::select(const QString &locale, const QString &target) {
    m_source = LanguageCatalog::spokenOption(locale, m_spoken).value_or(m_spoken.first());
    m_target = LanguageCatalog::targetOption(target, m_targets).value_or(LanguageCatalog::defaultTarget());
    m_sourcePicker->select(m_source.id);
    m_targetPicker->select(m_target.id);
    m_hearing.task = ModelTask::hearing(m_source.id);
    m_hearing.name = u"Dictate in %1"_s.arg(m_source.name);
    m_hearing.isWanted = true;
    const QString from = m_source.translationLanguageIdentifier;
    m_translating.task = ModelTask::translating(from, m_target.id);
    m_translating.name =
        u"Translate %1 to %2"_s.arg(LanguageLabel::of(from).name, LanguageLabel::of(m_target.id).name);
    m_translating.isWanted = true;
    refresh();
}

bool WantedLanguages::isTranslating() const { return m_source.translationLanguageIdentifier != m_target.id; }

void WantedLanguages::refresh() {
    refreshPart(m_hearing);
    refreshPart(m_translating);
    m_translating.box->setVisible(isTranslating());
    m_translating.standing->setVisible(isTranslating());
    refreshInstall();
}

/// What is there is ticked and stays so; what nothing can do cannot be ticked.
void WantedLanguages::refreshPart(Part &part) {
    const ModelNeed need = m_models.need(part.task);
    const bool isDecided = need.standing != Standing::missing;
    part.box->setEnabled(!isDecided);
    part.box->setChecked(isDecided ? need.standing != Standing::unserved : part.isWanted);
    const QString standing = ModelWords::standing(need);
    part.standing->setPlainText(standing);
    part.standing->setMinimumWidth(part.standing->sizeHint().width());
    part.box->setAccessibleName(part.name);
    part.box->setAccessibleDescription(standing);
    fitName(part);
}

/// The toolkit cuts a box's text without a sign.
void WantedLanguages::fitName(Part &part) {
    const int indicator = style()->pixelMetric(QStyle::PM_IndicatorWidth) +
                          style()->pixelMetric(QStyle::PM_CheckBoxLabelSpacing);
    const int room = width() - indicator - part.standing->minimumWidth() - 2 * spacing;
    const QString fitting = part.box->fontMetrics().elidedText(part.name, Qt::ElideRight, room);
    part.box->setText(fitting);
    part.box->setToolTip(fitting == part.name ? QString() : part.name);
}

void WantedLanguages::resizeEvent(QResizeEvent *event) {
    QWidget::resizeEvent(event);
    fitName(m_hearing);
    fitName(m_translating);
}

QList<ModelTask> WantedLanguages::wantedTasks() const {
    QList<ModelTask> tasks;
    if (m_hearing.box->isChecked())
        tasks += m_hearing.task;
    if (isTranslating() && m_translating.box->isChecked())
        tasks += m_translating.task;
    return tasks;
}

void WantedLanguages::refreshInstall() {
    const auto tasks = wantedTasks();
    const ModelNeed need = m_models.need(tasks);
    const bool isMissing = !tasks.isEmpty() && need.standing == Standing::missing;
    m_install->setText(isMissing ? u"Install, "_s + ModelWords::size(need.size) : u"Install"_s);
    m_install->setEnabled(isMissing);
    m_install->updateGeometry();
    m_summary->setPlainText(summary(need, tasks.isEmpty()));
    m_progress->setVisible(need.percent.has_value() || (need.standing == Standing::arriving));
    m_progress->setPercent(need.percent);
}

void WantedLanguages::install() {
    for (const ModelTask &task : wantedTasks())
        m_models.install(task);
    refresh();
}

void WantedLanguages::applyFonts() {
    m_title->setFont(typescale::semibold(typescale::scaled(font(), typescale::headline)));
    const QFont caption = typescale::scaled(font(), typescale::caption);
    for (QLabel *label : m_captions)
        label->setFont(caption);
    m_summary->setFont(caption);
}

void WantedLanguages::changeEvent(QEvent *event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        applyFonts();
}

} // namespace quillora
