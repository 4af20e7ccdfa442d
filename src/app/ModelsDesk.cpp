#include "app/ModelsDesk.h"

#include "app/BringToFront.h"
#include "platform/FirstStart.h"
#include "platform/MainQueue.h"
#include "platform/OwnWindows.h"
#include "platform/Platform.h"
#include "speech/SpeechRecognizerServiceError.h"
#include "ui/DownloadQuestionText.h"
#include "ui/ModelMark.h"

#include <QApplication>
#include <QScreen>
#include <QWindow>

#include <algorithm>
#include <utility>

namespace quillora {

using namespace Qt::StringLiterals;
using platform::ModelKind;
using platform::ModelTask;
using platform::Platform;

namespace {

/// Between the panel and the window beside it, in pixels.
constexpr int gap = 12;

} // namespace

ModelsDesk::ModelsDesk(AppController &controller, Popover &popover, ContentView &panel)
    : m_controller(controller), m_popover(popover), m_panel(panel),
      m_models(Platform::current().modelStore(), Platform::current().modelRoutes(),
               Platform::current().modelConsent()) {
    Platform::current().modelConsent().setPresenter(
        [self = QPointer<ModelsDesk>(this)](const auto &question, const auto &reply) {
            if (self)
                self->present(question, reply);
        });
    const auto onChange = [this](auto changed, Choice choice) {
        connect(&m_controller, changed, this, [this, choice] { noteChoice(choice); });
        connect(&m_controller, changed, this, &ModelsDesk::scheduleMarks);
    };
    onChange(&AppController::sourceLocaleIdentifierChanged, Choice::spokenLanguage);
    onChange(&AppController::targetLanguageIdentifierChanged, Choice::pair);
    onChange(&AppController::translationEngineIdentifierChanged, Choice::pair);
    const auto onModels = [this](auto changed) {
        connect(&m_models, changed, this, &ModelsDesk::scheduleMarks);
        connect(&m_models, changed, this, &ModelsDesk::followQuestion);
    };
    onModels(&Models::changed);
    onModels(&Models::chosen);
    connect(&m_models, &Models::chosen, &m_controller, &AppController::prepareEngines);
    connect(&m_controller, &AppController::statusTextChanged, this, &ModelsDesk::leadFromStatus);
    connect(&m_panel, &ContentView::modelsRequested, this, &ModelsDesk::showWindow);
}

ModelsDesk::~ModelsDesk() {
    Platform::current().modelConsent().setPresenter({});
    delete m_question;
}

void ModelsDesk::makeWindow() {
    if (m_window)
        return;
    m_window = std::make_unique<ModelsWindow>(
        m_models, Platform::current().modelSpace(),
        ModelsWindow::Languages{m_controller.spokenLanguageOptions(), m_controller.targetLanguageOptions()});
    m_window->resize(m_window->sizeHint());
}

void ModelsDesk::showWindow() {
    makeWindow();
    if (!m_window->isVisible()) {
        m_window->select(m_controller.selectedSource().id, m_controller.selectedTarget().id);
        placeBesidePanel();
    }
    bringToFront(*m_window);
}

void ModelsDesk::welcome() {
    auto &firstStart = Platform::current().firstStart();
    if (firstStart.isOver() || m_models.store().models().isEmpty())
        return;
    firstStart.end();
    showWindow();
}

/// Elsewhere the panel, which stays in front, might hide a part of it.
void ModelsDesk::placeBesidePanel() {
    if (!m_popover.isShown() || !m_popover.isAttached() || !Platform::current().ownWindows().canPlace())
        return;
    const QRect panel = m_popover.frameGeometry();
    const QRect room = m_popover.screen()->availableGeometry();
    const QSize size = m_window->size();
    const int before = panel.left() - gap - size.width();
    const int behind = panel.right() + 1 + gap;
    const int left = before >= room.left() ? before : behind;
    if (left + size.width() > room.right() + 1)
        return;
    const int lowest = std::max(room.top(), room.bottom() + 1 - size.height());
    m_window->move(left, std::clamp(panel.top(), room.top(), lowest));
}

void ModelsDesk::present(const platform::DownloadQuestion &question,
                         const platform::ModelConsent::Reply &reply) {
    m_asked = question.tasks;
    if (isAnswered())
        return reply(platform::DownloadAnswer::download);
    m_question = new DownloadQuestionWindow(questionText(), reply);
    m_question->setAttribute(Qt::WA_DeleteOnClose);
    connect(m_question, &DownloadQuestionWindow::modelsWanted, this, &ModelsDesk::showWindow);
    connect(m_question, &QObject::destroyed, this, &ModelsDesk::returnToPanel, Qt::QueuedConnection);
    m_question->adjustSize();
    if (m_popover.isShown()) {
        m_question->winId();
        m_question->windowHandle()->setTransientParent(m_popover.windowHandle());
        if (Platform::current().ownWindows().canPlace())
            m_question->move(m_popover.frameGeometry().center() - m_question->rect().center());
    }
    bringToFront(*m_question);
}

/// Whether the person has got it in the window for models meanwhile, or something else that does.
bool ModelsDesk::isAnswered() const {
    const auto standing = m_models.need(m_asked).standing;
    return standing == ModelNeed::Standing::ready || standing == ModelNeed::Standing::arriving;
}

/// Of what is still to be downloaded: a part of it may have come since the question was asked.
QString ModelsDesk::questionText() const {
    return downloadQuestionText({m_asked, m_models.need(m_asked).missing}, m_models,
                                m_controller.spokenLanguageOptions());
}

void ModelsDesk::followQuestion() {
    if (!m_question)
        return;
    if (!isAnswered())
        return m_question->setQuestion(questionText());
    // Whoever works in another window meanwhile goes on there.
    if (!m_question->isActiveWindow())
        disconnect(m_question, &QObject::destroyed, this, &ModelsDesk::returnToPanel);
    m_question->agree();
}

void ModelsDesk::returnToPanel() {
    if (!m_question)
        m_popover.returnToFront();
}

bool ModelsDesk::isInFront() const {
    // One that has just been closed brings the panel back with the next turn of the loop.
    if (m_question && !m_question->isVisible())
        return true;
    const QWidget *active = QApplication::activeWindow();
    return active && (active == m_window.get() || active == m_question);
}

void ModelsDesk::close() {
    if (m_window)
        m_window->close();
    if (m_question)
        m_question->close();
}

/// Swapping the languages chooses both: what is asked for is what has become of it.
void ModelsDesk::noteChoice(Choice choice) {
    const bool isScheduled = m_isPairChosen;
    m_isPairChosen = true;
    m_isSpokenLanguageChosen |= choice == Choice::spokenLanguage;
    if (isScheduled)
        return;
    Platform::current().mainQueue().async([self = QPointer<ModelsDesk>(this)] {
        if (self)
            self->requestChosen();
    });
}

void ModelsDesk::requestChosen() {
    m_isPairChosen = false;
    QList<ModelTask> tasks;
    if (std::exchange(m_isSpokenLanguageChosen, false))
        tasks += ModelTask::hearing(m_controller.selectedSource().id);
    if (const auto task = translationTask(m_controller.selectedTarget().id))
        tasks += *task;
    m_models.request(tasks);
}

/// None where nothing is translated on this computer.
std::optional<ModelTask> ModelsDesk::translationTask(const QString &target) const {
    const QString source = m_controller.selectedSource().translationLanguageIdentifier;
    const bool isHere = m_controller.selectedTranslationEngine() == TranslationEngine::appleLocal;
    if (!isHere || source == target)
        return {};
    return ModelTask::translating(source, target);
}

void ModelsDesk::leadFromStatus() {
    m_panel.setStatusLink(isAboutModels(m_controller.statusText()) ? ContentView::StatusLink::models
                                                                   : ContentView::StatusLink::none);
}

/// Errors that the window for models mends name its place in the menu; that of a recognizer does not tell
/// whether it is for want of a model.
bool ModelsDesk::isAboutModels(const QString &status) const {
    if (status.contains(u"Models in the tray menu"_s))
        return true;
    const QString locale = m_controller.sourceLocaleIdentifier();
    const auto deaf = SpeechRecognizerServiceError::recognizerUnavailable(locale);
    if (!status.endsWith(deaf.errorDescription()))
        return false;
    const auto standing = m_models.need(ModelTask::hearing(locale)).standing;
    return standing == ModelNeed::Standing::missing || standing == ModelNeed::Standing::arriving;
}

/// Changes come in swarms: a download tells of itself many times a second. Where nobody looks they wait for
/// the panel to open.
void ModelsDesk::scheduleMarks() {
    if (!m_popover.isShown() || std::exchange(m_areMarksScheduled, true))
        return;
    Platform::current().mainQueue().async([self = QPointer<ModelsDesk>(this)] {
        if (!self)
            return;
        self->m_areMarksScheduled = false;
        self->showMarks();
    });
}

void ModelsDesk::showMarks() {
    QHash<QString, Picker::Mark> sources;
    for (const auto &option : m_controller.spokenLanguageOptions()) {
        if (const auto mark = modelMark(m_models.need(ModelTask::hearing(option.id)), ModelKind::speech))
            sources[option.id] = *mark;
    }
    QHash<QString, Picker::Mark> targets;
    for (const auto &option : m_controller.targetLanguageOptions()) {
        const auto task = translationTask(option.id);
        if (!task)
            continue;
        const auto mark = m_controller.canUseAppleLocalForTarget(option.id)
                              ? modelMark(m_models.need(*task), ModelKind::translation)
                              : hostedMark();
        if (mark)
            targets[option.id] = *mark;
    }
    m_panel.setLanguageMarks(sources, targets);
}

} // namespace quillora
