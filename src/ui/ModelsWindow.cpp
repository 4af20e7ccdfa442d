#include "ui/ModelsWindow.h"

#include "models/ModelList.h"
#include "models/ModelWords.h"
#include "ui/Divider.h"
#include "ui/FieldFrame.h"
#include "ui/LanguageLabel.h"
#include "ui/LimitedLabel.h"
#include "ui/ModelListView.h"
#include "ui/Named.h"
#include "ui/PanelAppearance.h"
#include "ui/PanelButton.h"
#include "ui/SegmentBar.h"
#include "ui/TypeScale.h"
#include "ui/WantedLanguages.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLineEdit>
#include <QStackedWidget>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace quillora {

using platform::ModelTask;

namespace {

// The window's measures, in logical pixels. A small laptop's screen leaves 617 lines under its bars.
constexpr QSize preferredSize(560, 580);
constexpr QSize smallestSize(440, 420);
constexpr int padding = 18;
constexpr int spacing = 12;

/// Whether some model hears the one locale and not the other.
bool hasModelsOfItsOwn(const Models &models, const QString &locale, const QString &other) {
    const QStringList others = models.routes().choices(ModelTask::hearing(other));
    const QStringList choices = models.routes().choices(ModelTask::hearing(locale));
    return std::any_of(choices.begin(), choices.end(),
                       [&others](const QString &id) { return !others.contains(id); });
}

/// The locale that stands for a whole language: one that no region's own models hear, where there is one.
/// There is an option for the language at least.
QString localeOfLanguage(const Models &models, const QString &code,
                         const QList<SpokenLanguageOption> &spoken) {
    const auto countChoices = [&models](const QString &locale) {
        return models.routes().choices(ModelTask::hearing(locale)).size();
    };
    QString usual = LanguageCatalog::preferredSpeechLocale(code, spoken)->id;
    for (const auto &option : spoken) {
        if (option.translationLanguageIdentifier == code && countChoices(option.id) < countChoices(usual))
            usual = option.id;
    }
    return usual;
}

/// An item for each language, and one for a region of it that has models of its own.
QList<ModelListView::Item> speechItems(const Models &models, const QList<SpokenLanguageOption> &spoken) {
    QStringList locales;
    QList<LanguageLabel> labels;
    for (const auto &option : spoken) {
        const QString code = option.translationLanguageIdentifier;
        const QString usual = localeOfLanguage(models, code, spoken);
        const auto language = LanguageLabel::of(code);
        if (!locales.contains(usual)) {
            locales += usual;
            labels += language;
        }
        if (option.id != usual && hasModelsOfItsOwn(models, option.id, usual)) {
            locales += option.id;
            const QString words = option.name + u' ' + option.id;
            labels += {option.flag, option.name, words.toLower() + u' ' + language.words};
        }
    }
    QList<ModelListView::Item> items;
    for (const ModelEntry &entry : ModelList::speech(models, locales)) {
        const auto &label = labels.at(locales.indexOf(entry.task.languages.first()));
        items += {entry, {label.flag + u' ' + label.name, label.name, label.words}};
    }
    if (const auto entry = ModelList::pauses(models))
        items += {*entry,
                  {u"Voice activity: hears pauses in noise"_s, u"voice activity"_s,
                   u"voice activity pauses in noise"_s}};
    return items;
}

QList<ModelListView::Item> translationItems(const Models &models,
                                            const QList<TranslationLanguageOption> &targets) {
    QStringList languages;
    for (const auto &option : targets)
        languages += option.id;
    QList<ModelListView::Item> items;
    for (const ModelEntry &entry : ModelList::translation(models, languages)) {
        const auto source = LanguageLabel::of(entry.task.languages.first());
        const auto target = LanguageLabel::of(entry.task.languages.last());
        items += {entry,
                  {source.flag + u' ' + source.name + u" to "_s + target.flag + u' ' + target.name,
                   source.name + u" to "_s + target.name, source.words + u" to "_s + target.words}};
    }
    return items;
}

} // namespace

ModelsWindow::ModelsWindow(Models &models, const platform::ModelSpace &space, const Languages &languages,
                           QWidget *parent)
    : QWidget(parent, Qt::Window), m_models(models), m_space(space) {
    build(languages);
    applyFonts();
    new PanelAppearance(*this); // owned by this window
    connect(&m_models, &Models::changed, this, &ModelsWindow::showChange);
    connect(&m_models, &Models::chosen, this, [this](const platform::ModelTask &task) {
        m_speech->refresh(task);
        m_translation->refresh(task);
        m_wanted->refresh();
    });
    fillLists(languages);
}

void ModelsWindow::build(const Languages &languages) {
    setObjectName(u"modelsWindow"_s);
    setWindowTitle(u"Models"_s);
    setAutoFillBackground(true);
    setMinimumSize(smallestSize);

    m_wanted = named(new WantedLanguages(m_models, languages.spoken, languages.targets), u"wanted"_s);
    m_kinds = named(new SegmentBar, u"kinds"_s);
    m_kinds->addTab(u"Speech"_s);
    m_kinds->addTab(u"Translation"_s);
    m_kinds->setAccessibleName(u"Lists of models"_s);
    m_speech = named(new ModelListView(m_models), u"speechModels"_s);
    m_speech->setAccessibleName(u"Models for speech"_s);
    m_translation = named(new ModelListView(m_models), u"translationModels"_s);
    m_translation->setAccessibleName(u"Models for translation"_s);
    m_lists = new QStackedWidget;
    m_lists->addWidget(m_speech);
    m_lists->addWidget(m_translation);
    connect(m_kinds, &QTabBar::currentChanged, m_lists, &QStackedWidget::setCurrentIndex);
    m_omissionsText = named(new LimitedLabel(1), u"omissionsText"_s);
    m_omissionsText->setPlainText(ModelWords::omissions(m_models.store().omissions()));
    m_spaceText = named(new LimitedLabel(1), u"spaceText"_s);
    for (LimitedLabel *text : {m_omissionsText, m_spaceText})
        text->setForegroundRole(QPalette::PlaceholderText);

    auto *choice = new QHBoxLayout;
    choice->setSpacing(spacing);
    choice->addWidget(m_kinds);
    choice->addWidget(buildSearch(), 1);

    auto *stack = new QVBoxLayout(this);
    stack->setContentsMargins(padding, padding, padding, padding);
    stack->setSpacing(spacing);
    stack->addWidget(m_wanted);
    stack->addWidget(new Divider);
    stack->addLayout(choice);
    stack->addWidget(m_lists, 1);
    stack->addWidget(m_omissionsText);
    m_omissionsText->setHidden(m_omissionsText->text().isEmpty());
    stack->addWidget(m_spaceText);
}

QWidget *ModelsWindow::buildSearch() {
    m_search = named(new QLineEdit, u"search"_s);
    m_search->setPlaceholderText(u"Search languages and models"_s);
    connect(m_search, &QLineEdit::textChanged, m_speech, &ModelListView::search);
    connect(m_search, &QLineEdit::textChanged, m_translation, &ModelListView::search);
    return FieldFrame::around(*m_search);
}

void ModelsWindow::fillLists(const Languages &languages) {
    m_speech->setItems(speechItems(m_models, languages.spoken));
    m_translation->setItems(translationItems(m_models, languages.targets));
}

void ModelsWindow::select(const QString &locale, const QString &target) { m_wanted->select(locale, target); }

QSize ModelsWindow::sizeHint() const { return preferredSize; }

void ModelsWindow::showChange(const QString &id) {
    m_speech->refresh(id);
    m_translation->refresh(id);
    m_wanted->refresh();
    // What comes over the network says so many times a second, and takes its room as it comes.
    if (isVisible() && !m_models.store().state(id).progress)
        showSpace();
}

/// Looks through the folder of models: only for somebody who sees it.
void ModelsWindow::showSpace() {
    m_spaceText->setPlainText(ModelWords::space(m_space.used(), m_space.free()));
}

void ModelsWindow::applyFonts() {
    for (LimitedLabel *text : {m_omissionsText, m_spaceText})
        text->setFont(typescale::scaled(font(), typescale::caption));
}

void ModelsWindow::changeEvent(QEvent *event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        applyFonts();
}

/// Escape first empties what is searched for.
void ModelsWindow::keyPressEvent(QKeyEvent *event) {
    const bool isEscapeAlone = event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier;
    const bool isFind = event->matches(QKeySequence::Find);
    if (isFind)
        m_search->setFocus(Qt::ShortcutFocusReason);
    else if (isEscapeAlone && !m_search->text().isEmpty())
        m_search->clear();
    else if (isEscapeAlone || event->matches(QKeySequence::Close))
        close();
    else
        QWidget::keyPressEvent(event);
}

void ModelsWindow::showEvent(QShowEvent *event) {
    QWidget::showEvent(event);
    showSpace();
    if (focusWidget())
        return;
    if (m_wanted->installButton().isEnabled())
        m_wanted->installButton().setFocus(Qt::OtherFocusReason);
    else
        m_search->setFocus(Qt::OtherFocusReason);
}

} // namespace quillora
