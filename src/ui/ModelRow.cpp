#include "ui/ModelRow.h"

#include "models/ModelWords.h"
#include "platform/Platform.h"
#include "platform/WebPages.h"
#include "ui/LimitedLabel.h"
#include "ui/PanelButton.h"
#include "ui/ProgressLine.h"
#include "ui/TextLink.h"
#include "ui/TypeScale.h"

#include <QEvent>
#include <QHBoxLayout>

using namespace Qt::StringLiterals;

namespace quillora {

namespace {

constexpr int buttonSpacing = 6;
constexpr int lineSpacing = 2;
constexpr int mostFactLines = 2;
constexpr int troubleLines = 2; ///< a sentence that says what to do
const QString separator = u" · "_s;

bool isWorthSaying(const platform::ModelState &state) {
    return state.progress || state.isPaused || state.isLeaving || !state.problem.isEmpty() ||
           state.presence != platform::ModelState::Presence::absent;
}

/// Some of them are sentences already.
QString followedBy(const QString &text, const QString &next) {
    return text + (text.endsWith(u'.') ? u" "_s : u". "_s) + next;
}

QString inWords(const QUrl &address) { return address.toString(QUrl::FullyEncoded); }

} // namespace

ModelRow::ModelRow(Models &models, const platform::ModelTask &task, const QString &id, const Title &title,
                   QWidget *parent)
    : QWidget(parent), m_models(models), m_task(task), m_id(id), m_title(title), m_texts(new QVBoxLayout),
      m_controls(new QHBoxLayout), m_name(new LimitedLabel(1)), m_facts(new LimitedLabel(1)),
      m_origin(new LimitedLabel(1)), m_licence(new TextLink), m_checksums(new LimitedLabel(1)),
      m_state(new LimitedLabel(1)) {
    for (LimitedLabel *label : {m_facts, m_origin, m_checksums, m_state})
        label->setForegroundRole(QPalette::PlaceholderText);
    m_texts->setSpacing(lineSpacing);
    auto *origin = new QHBoxLayout;
    origin->setSpacing(0);
    origin->addWidget(m_origin);
    origin->addWidget(m_licence);
    origin->addWidget(m_checksums);
    origin->addStretch(1);
    m_texts->addWidget(m_name);
    m_texts->addWidget(m_facts);
    m_texts->addLayout(origin);
    m_texts->addWidget(m_state);
    m_licence->installEventFilter(this);
    m_facts->installEventFilter(this);
    connect(m_licence, &TextLink::clicked, this, &ModelRow::openLicence);
    m_controls->setSpacing(buttonSpacing);

    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(2 * buttonSpacing);
    row->addLayout(m_texts, 1);
    row->addLayout(m_controls);
    row->setAlignment(m_controls, Qt::AlignVCenter);
    applyFonts();
    describe();
    refresh();
}

void ModelRow::showModel(const QString &id) {
    if (m_id != id) {
        m_id = id;
        describe();
    }
    refresh();
}

/// What never changes of it.
void ModelRow::describe() {
    m_description = m_models.description(m_id);
    m_name->setPlainText(m_title.shown.isEmpty() ? m_id : m_title.shown);
    describeOrigin();
    m_facts->setToolTip(ModelWords::measured(m_description));
    setAccessibleName(m_title.spoken + u", "_s + m_id);
}

void ModelRow::describeOrigin() {
    const QUrl &address = m_description.licenceAddress;
    m_licence->setPlainText(m_description.licence);
    m_licence->setToolTip(inWords(address));
    m_licence->setAccessibleName(u"Licence %1 of %2, %3"_s.arg(m_description.licence, m_title.spoken, m_id));
    m_licence->setAccessibleDescription(inWords(address));
    m_licence->setVisible(!address.isEmpty());
    m_isLicenceUnopened = false;
    m_origin->setPlainText(address.isEmpty() ? ModelWords::origin(m_description)
                                             : ModelWords::publisher(m_description) + u" Licence:"_s);
    const QString checksums = ModelWords::checksums(m_description);
    m_checksums->setPlainText(checksums);
    m_checksums->setVisible(!address.isEmpty() && !checksums.isEmpty());
}

void ModelRow::openLicence() {
    m_isLicenceUnopened = !platform::Platform::current().webPages().open(m_description.licenceAddress);
    refresh();
}

QString ModelRow::facts() const {
    const QStringList choices = m_models.routes().choices(m_task);
    QStringList facts;
    if (choices.size() > 1 && choices.first() == m_id)
        facts += u"Recommended"_s;
    if (!m_title.shown.isEmpty())
        facts += m_id;
    facts += ModelWords::size(m_models.downloadSize({m_id}));
    if (const QString weight = ModelWords::weight(m_description); !weight.isEmpty())
        facts += weight;
    facts += ModelWords::quality(m_description);
    return facts.join(separator);
}

void ModelRow::refresh() {
    m_facts->setPlainText(facts());
    fitFacts();
    showState();
    showProgress();
    showActions();
    updateGeometry(); // the toolkit does not tell what is around it, as long as that is hidden
}

/// They take another line where one would cut them, which only the one that is laid out knows.
void ModelRow::fitFacts() {
    if (!m_facts->isVisible())
        return;
    m_facts->setMaximumLines(m_facts->sizeHint().width() > m_facts->width() ? mostFactLines : 1);
    updateGeometry();
}

void ModelRow::showState() {
    const auto state = m_models.store().state(m_id);
    QString text = ModelWords::state(state, m_description.version);
    if (!state.progress && ModelActions::isInUse(m_models, m_task, m_id))
        text += text.endsWith(u'.') ? u" It is in use."_s : u", in use"_s;
    if (!state.remark.isEmpty())
        text = followedBy(text, state.remark);
    if (m_isLicenceUnopened)
        text = followedBy(text, u"Nothing here can show "_s + inWords(m_description.licenceAddress));
    m_state->setPlainText(text);
    m_state->setVisible(m_isLicenceUnopened || isWorthSaying(state));
    const bool isStuck = state.progress && !state.progress->obstacle.isEmpty();
    const bool isTrouble = m_isLicenceUnopened || isStuck ||
                           (!state.progress && (!state.problem.isEmpty() || !state.remark.isEmpty() ||
                                                state.presence == platform::ModelState::Presence::damaged));
    m_state->setMaximumLines(isTrouble ? troubleLines : 1);
    m_state->setForegroundRole(isTrouble ? QPalette::WindowText : QPalette::PlaceholderText);
    setAccessibleDescription(
        followedBy(followedBy(text, m_facts->text()), ModelWords::origin(m_description)));
}

void ModelRow::showProgress() {
    const auto progress = m_models.store().state(m_id).progress;
    if (progress && !m_progress) {
        m_progress = new ProgressLine;
        m_texts->addSpacing(lineSpacing);
        m_texts->addWidget(m_progress);
    }
    if (!m_progress)
        return;
    m_progress->setAccessibleName(m_title.spoken + u", "_s + m_id);
    m_progress->setVisible(progress.has_value());
    if (progress)
        m_progress->setPercent(progress->percent());
}

PanelButton &ModelRow::button(qsizetype index) {
    while (m_buttons.size() <= index) {
        auto *button = new PanelButton(PanelButton::Look::compact);
        button->setObjectName(u"modelButton%1"_s.arg(m_buttons.size()));
        button->installEventFilter(this);
        connect(button, &PanelButton::clicked, this, [this, place = m_buttons.size()] {
            const QString id = m_id; // another may lead because of what is done
            ModelActions::perform(m_actions.at(place), m_models, m_task, id);
            Q_EMIT performed();
        });
        m_buttons += button;
        m_controls->addWidget(button);
    }
    return *m_buttons.at(index);
}

/// A button keeps its place and the focus when what it does becomes something else.
void ModelRow::showActions() {
    m_actions = ModelActions::offered(m_models, m_task, m_id);
    for (qsizetype i = 0; i < m_actions.size(); ++i) {
        PanelButton &shown = button(i);
        const QString text = name(m_actions.at(i));
        if (shown.text() != text) {
            shown.setText(text);
            shown.updateGeometry();
        }
        shown.setAccessibleName(text + u' ' + m_title.spoken + u", "_s + m_id);
        shown.setAccessibleDescription(accessibleDescription());
        shown.setVisible(true);
    }
    for (qsizetype i = m_actions.size(); i < m_buttons.size(); ++i)
        m_buttons.at(i)->setVisible(false);
}

/// The second click of a double click would end what the first has begun, or open a page twice.
bool ModelRow::eventFilter(QObject *watched, QEvent *event) {
    if (watched != m_facts)
        return event->type() == QEvent::MouseButtonDblClick;
    if (event->type() == QEvent::Resize || event->type() == QEvent::Show) // in the middle of laying out
        QMetaObject::invokeMethod(this, &ModelRow::fitFacts, Qt::QueuedConnection);
    return false;
}

void ModelRow::applyFonts() {
    m_name->setFont(m_title.shown.isEmpty() ? font() : typescale::semibold(font()));
    const QFont caption = typescale::scaled(font(), typescale::caption);
    for (LimitedLabel *label : {m_facts, m_origin, m_checksums, m_state})
        label->setFont(caption);
    m_licence->setFont(caption);
}

void ModelRow::changeEvent(QEvent *event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        applyFonts();
}

} // namespace quillora
