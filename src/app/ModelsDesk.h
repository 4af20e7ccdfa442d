#pragma once

#include "app/Popover.h"
#include "controller/AppController.h"
#include "models/Models.h"
#include "ui/ContentView.h"
#include "ui/DownloadQuestionWindow.h"
#include "ui/ModelsWindow.h"

#include <QObject>
#include <QPointer>

#include <memory>

namespace quillora {

/// Where models meet the panel: asks before downloads, opens the window for models, gets what the chosen
/// languages take, and marks those that take something.
class ModelsDesk : public QObject {
    Q_OBJECT

public:
    /// All of them outlive it.
    ModelsDesk(AppController &controller, Popover &popover, ContentView &panel);
    /// What is still being asked is not now.
    ~ModelsDesk() override;

    /// Opens the window for models with the languages of the panel, or brings it to the front.
    void showWindow();

    /// Marks the languages of the panel, which has just opened; from then on it does so by itself.
    void showMarks();

    /// The user has opened the panel. For the first time ever the window for models opens beside it.
    void welcome();

    /// Whether the user is at one of its windows, or has just answered its question.
    bool isInFront() const;

    void close();

    ModelsWindow *window() const { return m_window.get(); }
    DownloadQuestionWindow *question() const { return m_question; }

private:
    void makeWindow();
    void placeBesidePanel();
    void present(const platform::DownloadQuestion &question, const platform::ModelConsent::Reply &reply);
    bool isAnswered() const;
    QString questionText() const;
    void followQuestion();
    void returnToPanel();

    enum class Choice { spokenLanguage, pair };
    void noteChoice(Choice choice);
    void requestChosen();
    std::optional<platform::ModelTask> translationTask(const QString &target) const;

    void leadFromStatus();
    bool isAboutModels(const QString &status) const;

    void scheduleMarks();

    AppController &m_controller;
    Popover &m_popover;
    ContentView &m_panel;
    Models m_models;
    std::unique_ptr<ModelsWindow> m_window;      ///< once it was opened
    QPointer<DownloadQuestionWindow> m_question; ///< while one is asked; it deletes itself
    QList<platform::ModelTask> m_asked;          ///< what the last question was for
    bool m_isSpokenLanguageChosen = false;       ///< and not asked for yet
    bool m_isPairChosen = false;                 ///< likewise
    bool m_areMarksScheduled = false;
};

} // namespace quillora
