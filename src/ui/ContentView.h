#pragma once

#include "hotkey/KeyRepeats.h"
#include "ui/Picker.h"

#include <QList>
#include <QWidget>

class QGridLayout;
class QLabel;
class QLayout;
class QLineEdit;

namespace quillora {

class AppController;
class HotKeyRecorderView;
class LimitedLabel;
class PanelButton;
class StatusLabel;
class SymbolView;
class TextLink;
class TextPane;

/// The panel: shows what the controller publishes, and calls its operations. It has no state and decides
/// nothing. 380 pixels wide and as high as its content.
///
/// Every control has an object name, by which tests find it.
class ContentView : public QWidget {
    Q_OBJECT

public:
    /// `controller` outlives the panel.
    explicit ContentView(AppController &controller, QWidget *parent = nullptr);

    /// Marks languages that take something to be dictated, or translated to; no others.
    void setLanguageMarks(const QHash<QString, Picker::Mark> &sources,
                          const QHash<QString, Picker::Mark> &targets);

    /// Whether the status has to do with models: then a link beside it leads to them.
    enum class StatusLink { none, models };
    void setStatusLink(StatusLink link);

Q_SIGNALS:
    /// The user wants to see the models that the status is about.
    void modelsRequested();

    /// The user wants the panel out of the way.
    void closeRequested();

    /// The user wants the program to end.
    void quitRequested();

protected:
    void changeEvent(QEvent *event) override;
    bool event(QEvent *event) override;
    void hideEvent(QHideEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void keyReleaseEvent(QKeyEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    void build();
    QLayout *buildHeader();
    QLayout *buildHotKeyRow();
    QLayout *buildLanguageControls();
    QLayout *buildMarkedTitle(Picker &picker);
    QLayout *buildEngineControls();
    QLayout *buildActionControls();
    QLayout *buildStatusRow();
    QLayout *buildTextSection(const QString &title, const QString &symbol, TextPane &pane);
    void connectControls();
    void connectController();
    void setTabOrder();
    void applyFonts();
    void tellPresence();

    // Each shows a part of the controller's state.
    void redraw();
    void redrawActivity();
    void redrawHotKey();
    void redrawHotKeyRecorder();
    void redrawLanguages();
    void shareWidthAmongLanguages();
    void redrawEngine();
    void redrawEndpoint();
    void redrawToken();
    void redrawStatus();
    void redrawTranscript();
    void redrawTranslation();
    void redrawPasteButton();

    AppController &m_controller;

    // Owned by this widget.
    SymbolView *m_headerIcon;
    QLabel *m_productName;
    LimitedLabel *m_hotKeyText;
    PanelButton *m_recordHotKeyButton;
    PanelButton *m_resetHotKeyButton;
    PanelButton *m_quitButton;
    QGridLayout *m_languageControls;
    Picker *m_sourcePicker;
    PanelButton *m_swapButton;
    Picker *m_targetPicker;
    Picker *m_enginePicker;
    QLineEdit *m_endpointField;
    QLineEdit *m_tokenField;
    PanelButton *m_mainButton;
    PanelButton *m_prepareButton;
    PanelButton *m_pasteButton;
    SymbolView *m_statusDot;
    StatusLabel *m_statusText;
    TextLink *m_statusLink;
    TextPane *m_transcriptText;
    TextPane *m_translationText;
    LimitedLabel *m_footerText;
    HotKeyRecorderView *m_hotKeyRecorder;
    KeyRepeats m_keyRepeats;
    QList<QWidget *> m_captions; ///< titles, and what stands beside them
};

} // namespace quillora
