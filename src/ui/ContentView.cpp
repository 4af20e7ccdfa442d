#include "ui/ContentView.h"

#include "controller/AppController.h"
#include "hotkey/HotKeyRecorderView.h"
#include "platform/Detached.h"
#include "ui/Divider.h"
#include "ui/FieldFrame.h"
#include "ui/FocusReturn.h"
#include "ui/LimitedLabel.h"
#include "ui/Named.h"
#include "ui/PanelAppearance.h"
#include "ui/PanelButton.h"
#include "ui/PanelPalette.h"
#include "ui/PickerMark.h"
#include "ui/StatusLabel.h"
#include "ui/SymbolView.h"
#include "ui/TextLink.h"
#include "ui/TextPane.h"
#include "ui/TypeScale.h"

#include <QEvent>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace quillora {

namespace {

const QString otherKeysText =
    u"In its keyboard settings the desktop can bind a key to the command "
    "dbus-send --type=method_call --dest=org.quillora.Quillora /org/quillora/Quillora "
    "org.quillora.Quillora.Toggle"_s;

// The panel's measures, in logical pixels.
constexpr int panelWidth = 380;
constexpr int panelPadding = 18;
constexpr int sectionSpacing = 16;
constexpr int controlSpacing = 8;
constexpr int captionSpacing = 6;
constexpr int headerIconSize = 32;
constexpr int captionIconSize = 14;
constexpr int textHeight = 82;
constexpr int statusHeight = 28;
constexpr int statusDotSize = 8;

// The columns of the language controls.
constexpr int sourceColumn = 0;
constexpr int swapColumn = 1;
constexpr int targetColumn = 2;

QList<Picker::Option> engineRows() {
    QList<Picker::Option> rows;
    for (const auto engine : allTranslationEngines)
        rows += {rawValue(engine), {}, name(engine)};
    return rows;
}

/// Leaves the cursor, the selection and a composition alone where the text is the same.
void fill(QLineEdit &field, const QString &text) {
    if (field.text() != text)
        field.setText(text);
}

QColor colorOf(DictationState state, const QPalette &palette) {
    switch (state) {
    case DictationState::idle:
        return PanelPalette::idle(palette);
    case DictationState::recording:
        return PanelPalette::recording(palette);
    case DictationState::processing:
        return PanelPalette::processing(palette);
    }
    Q_UNREACHABLE();
}

void recolor(QWidget &widget, QPalette::ColorRole role, const QColor &color) {
    QPalette palette = widget.palette();
    if (palette.color(role) == color)
        return;
    palette.setColor(role, color);
    widget.setPalette(palette);
}

} // namespace

ContentView::ContentView(AppController &controller, QWidget *parent)
    : QWidget(parent), m_controller(controller) {
    build();
    connectControls();
    setTabOrder();
    applyFonts();
    new PanelAppearance(*this); // owned by this panel
    new FocusReturn(*this);     // likewise
    connectController();
    redraw();
}

void ContentView::build() {
    setObjectName(u"panel"_s);
    setAutoFillBackground(true);
    m_hotKeyRecorder = named(new HotKeyRecorderView({}, this), u"hotKeyRecorder"_s);
    m_hotKeyRecorder->setGeometry(0, 0, 1, 1);

    m_transcriptText = named(new TextPane(TextPane::Follow::end), u"transcriptText"_s);
    m_translationText = named(new TextPane(TextPane::Follow::beginning), u"translationText"_s);
    m_footerText = named(new LimitedLabel(1), u"footerText"_s);
    m_footerText->setForegroundRole(QPalette::PlaceholderText);

    auto *stack = new QVBoxLayout(this);
    stack->setContentsMargins(panelPadding, panelPadding, panelPadding, panelPadding);
    stack->setSpacing(sectionSpacing);
    stack->setSizeConstraint(QLayout::SetFixedSize);
    stack->addStrut(panelWidth - 2 * panelPadding);
    stack->addLayout(buildHeader());
    stack->addLayout(buildLanguageControls());
    stack->addLayout(buildEngineControls());
    stack->addLayout(buildActionControls());
    stack->addLayout(buildStatusRow());
    stack->addWidget(new Divider);
    stack->addLayout(buildTextSection(u"Transcript"_s, u"waveform"_s, *m_transcriptText));
    stack->addLayout(buildTextSection(u"Translation"_s, u"text.bubble"_s, *m_translationText));
    stack->addWidget(m_footerText);
    for (QWidget *caption : m_captions)
        caption->setForegroundRole(QPalette::PlaceholderText);
}

QLayout *ContentView::buildHeader() {
    m_headerIcon = named(new SymbolView(headerIconSize), u"headerIcon"_s);
    m_productName = named(new QLabel(u"Quillora"_s), u"productName"_s);
    m_quitButton = named(new PanelButton(PanelButton::Look::borderless), u"quitButton"_s);
    m_quitButton->setSymbol(u"power"_s);
    m_quitButton->setHelpText(u"Quit"_s);

    auto *titles = new QVBoxLayout;
    titles->setSpacing(0);
    titles->addWidget(m_productName);
    titles->addLayout(buildHotKeyRow());

    auto *header = new QHBoxLayout;
    header->setSpacing(12);
    header->setContentsMargins(-2, 0, -4, 0); // the symbols' own margins: what is seen lines up with the rest
    header->addWidget(m_headerIcon);
    header->addLayout(titles);
    header->addStretch();
    header->addWidget(m_quitButton);
    return header;
}

QLayout *ContentView::buildHotKeyRow() {
    m_hotKeyText = named(new LimitedLabel(1), u"hotKeyText"_s);
    m_hotKeyText->setToolTip(Qt::convertFromPlainText(otherKeysText, Qt::WhiteSpaceNormal));
    m_recordHotKeyButton = named(new PanelButton(PanelButton::Look::borderless), u"recordHotKeyButton"_s);
    m_resetHotKeyButton = named(new PanelButton(PanelButton::Look::borderless), u"resetHotKeyButton"_s);
    m_resetHotKeyButton->setSymbol(u"arrow.counterclockwise"_s);
    m_resetHotKeyButton->setHelpText(u"Reset hotkey"_s);

    auto *row = new QHBoxLayout;
    row->setSpacing(2);
    row->addWidget(m_hotKeyText);
    row->addSpacing(4);
    row->addWidget(m_recordHotKeyButton);
    row->addWidget(m_resetHotKeyButton);
    row->addStretch();
    return row;
}

QLayout *ContentView::buildLanguageControls() {
    m_sourcePicker = named(new Picker(u"Dictate"_s, Picker::optionsOf(m_controller.spokenLanguageOptions())),
                           u"sourcePicker"_s);
    m_targetPicker =
        named(new Picker(u"Translate to"_s, Picker::optionsOf(m_controller.targetLanguageOptions())),
              u"targetPicker"_s);
    m_swapButton = named(new PanelButton(PanelButton::Look::borderless), u"swapButton"_s);
    m_swapButton->setSymbol(u"arrow.left.arrow.right"_s);
    m_swapButton->setHelpText(u"Swap languages"_s);

    m_languageControls = new QGridLayout;
    m_languageControls->setHorizontalSpacing(controlSpacing);
    m_languageControls->setVerticalSpacing(captionSpacing);
    m_languageControls->addLayout(buildMarkedTitle(*m_sourcePicker), 0, sourceColumn);
    m_languageControls->addLayout(buildMarkedTitle(*m_targetPicker), 0, targetColumn);
    m_languageControls->addWidget(m_sourcePicker, 1, sourceColumn);
    m_languageControls->addWidget(m_swapButton, 1, swapColumn);
    m_languageControls->addWidget(m_targetPicker, 1, targetColumn);
    return m_languageControls;
}

/// What is to be known of the chosen language stands beside the title, where it takes no room from its name.
QLayout *ContentView::buildMarkedTitle(Picker &picker) {
    auto *title = new QLabel(picker.accessibleName());
    title->setBuddy(&picker);
    auto *mark = new PickerMark(picker);
    m_captions += {title, mark};
    auto *row = new QHBoxLayout;
    row->setSpacing(captionSpacing);
    row->addWidget(title);
    row->addWidget(mark);
    row->addStretch();
    return row;
}

QLayout *ContentView::buildEngineControls() {
    m_enginePicker = named(new Picker(u"Engine"_s, engineRows()), u"enginePicker"_s);
    m_endpointField = named(new QLineEdit, u"endpointField"_s);
    m_endpointField->setPlaceholderText(u"Backend URL"_s);
    m_endpointField->setInputMethodHints(Qt::ImhUrlCharactersOnly | Qt::ImhNoAutoUppercase);
    m_tokenField = named(new QLineEdit, u"tokenField"_s);
    m_tokenField->setPlaceholderText(u"Subscription token"_s);
    m_tokenField->setEchoMode(QLineEdit::Password);

    auto *title = new QLabel(u"Engine"_s);
    title->setBuddy(m_enginePicker);
    m_captions += title;

    auto *titledPicker = new QVBoxLayout;
    titledPicker->setSpacing(captionSpacing);
    titledPicker->addWidget(title);
    titledPicker->addWidget(m_enginePicker);
    auto *controls = new QVBoxLayout;
    controls->setSpacing(controlSpacing);
    controls->addLayout(titledPicker);
    for (QLineEdit *field : {m_endpointField, m_tokenField}) {
        field->setToolTip(field->placeholderText()); // a field that is filled shows no other name
        controls->addWidget(FieldFrame::around(*field));
    }
    return controls;
}

QLayout *ContentView::buildActionControls() {
    m_mainButton = named(new PanelButton(PanelButton::Look::prominent), u"mainButton"_s);
    m_prepareButton = named(new PanelButton(PanelButton::Look::bordered), u"prepareButton"_s);
    m_prepareButton->setSymbol(u"arrow.down.circle"_s);
    m_prepareButton->setHelpText(u"Prepare translation models"_s);
    m_pasteButton = named(new PanelButton(PanelButton::Look::bordered), u"pasteButton"_s);
    m_pasteButton->setSymbol(u"doc.on.clipboard"_s);
    m_pasteButton->setHelpText(u"Paste last translation"_s);

    auto *controls = new QHBoxLayout;
    controls->setSpacing(controlSpacing);
    controls->addWidget(m_mainButton, 1);
    controls->addWidget(m_prepareButton);
    controls->addWidget(m_pasteButton);
    return controls;
}

QLayout *ContentView::buildStatusRow() {
    m_statusDot = named(new SymbolView(statusDotSize), u"statusDot"_s);
    m_statusDot->setSymbol(u"circle.fill"_s);
    m_statusText = named(new StatusLabel, u"statusText"_s);
    m_statusText->setForegroundRole(QPalette::PlaceholderText);
    m_statusText->setMinimumHeight(statusHeight);
    m_statusText->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    m_statusLink = named(new TextLink, u"statusLink"_s);
    m_statusLink->setPlainText(u"Models…"_s);
    m_statusLink->setAccessibleName(u"Models… for this status"_s); // a question has such a button, too
    m_statusLink->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setStatusLink(StatusLink::none);

    auto *row = new QHBoxLayout;
    row->setSpacing(controlSpacing);
    row->addWidget(m_statusDot);
    row->addWidget(m_statusText, 1);
    row->addWidget(m_statusLink, 0, Qt::AlignVCenter); // the row stays as high as it is
    return row;
}

QLayout *ContentView::buildTextSection(const QString &title, const QString &symbol, TextPane &pane) {
    auto *icon = new SymbolView(captionIconSize);
    icon->setSymbol(symbol);
    auto *caption = new QLabel(title);
    caption->setBuddy(&pane);
    m_captions += caption;
    pane.setAccessibleName(title);
    auto *frame = new FieldFrame(pane);
    frame->setFixedHeight(textHeight);

    auto *label = new QHBoxLayout;
    label->setSpacing(captionSpacing);
    label->addWidget(icon);
    label->addWidget(caption, 1);
    auto *section = new QVBoxLayout;
    section->setSpacing(captionSpacing);
    section->addLayout(label);
    section->addWidget(frame);
    return section;
}

void ContentView::connectControls() {
    const auto onClick = [this](PanelButton *button, auto call) {
        connect(button, &PanelButton::clicked, this, [this, call] { call(m_controller); });
    };
    onClick(m_resetHotKeyButton, [](AppController &controller) { controller.resetHotKey(); });
    onClick(m_recordHotKeyButton, [](AppController &controller) {
        if (controller.isRecordingHotKey())
            controller.cancelHotKeyRecording();
        else
            controller.startHotKeyRecording();
    });
    onClick(m_swapButton, [](AppController &controller) { controller.swapLanguages(); });
    onClick(m_mainButton, [](AppController &controller) { platform::detach(controller.toggleRecording()); });
    onClick(m_prepareButton,
            [](AppController &controller) { platform::detach(controller.prepareTranslationModels()); });
    onClick(m_pasteButton, [](AppController &controller) { controller.pasteLastTranslation(); });
    connect(m_quitButton, &PanelButton::clicked, this, &ContentView::quitRequested);
    connect(m_statusLink, &TextLink::clicked, this, &ContentView::modelsRequested);

    connect(m_sourcePicker, &Picker::picked, &m_controller, &AppController::setSourceLocaleIdentifier);
    connect(m_targetPicker, &Picker::picked, &m_controller, &AppController::setTargetLanguageIdentifier);
    connect(m_enginePicker, &Picker::picked, &m_controller, &AppController::setTranslationEngineIdentifier);
    connect(m_endpointField, &QLineEdit::textEdited, &m_controller, &AppController::setOpenAIEndpointString);
    connect(m_tokenField, &QLineEdit::textEdited, &m_controller, &AppController::setOpenAIClientToken);
}

/// Interim words come many times a second: what does not depend on a value is left alone when that changes.
void ContentView::connectController() {
    const auto onChange = [this](auto changed, auto redrawPart) {
        connect(&m_controller, changed, this, redrawPart);
    };
    onChange(&AppController::sourceLocaleIdentifierChanged, &ContentView::redrawLanguages);
    onChange(&AppController::targetLanguageIdentifierChanged, &ContentView::redrawLanguages);
    onChange(&AppController::translationEngineIdentifierChanged, &ContentView::redrawEngine);
    onChange(&AppController::openAIEndpointStringChanged, &ContentView::redrawEndpoint);
    onChange(&AppController::openAIClientTokenChanged, &ContentView::redrawToken);
    onChange(&AppController::isRecordingChanged, &ContentView::redrawActivity);
    onChange(&AppController::isProcessingChanged, &ContentView::redrawActivity);
    onChange(&AppController::statusTextChanged, &ContentView::redrawStatus);
    onChange(&AppController::transcriptTextChanged, &ContentView::redrawTranscript);
    onChange(&AppController::translatedTextChanged, &ContentView::redrawTranslation);
    onChange(&AppController::hotKeyChanged, &ContentView::redrawHotKey);
    onChange(&AppController::isRecordingHotKeyChanged, &ContentView::redrawHotKey);
    onChange(&AppController::isRecordingHotKeyChanged, &ContentView::redrawHotKeyRecorder);
}

void ContentView::setTabOrder() {
    const QList<QWidget *> readingOrder{
        m_recordHotKeyButton, m_resetHotKeyButton, m_quitButton,    m_sourcePicker,   m_swapButton,
        m_targetPicker,       m_enginePicker,      m_endpointField, m_tokenField,     m_mainButton,
        m_prepareButton,      m_pasteButton,       m_statusLink,    m_transcriptText, m_translationText};
    for (qsizetype i = 1; i < readingOrder.size(); ++i)
        QWidget::setTabOrder(readingOrder[i - 1], readingOrder[i]);
}

void ContentView::applyFonts() {
    m_productName->setFont(typescale::semibold(typescale::scaled(font(), typescale::headline)));
    m_mainButton->setFont(typescale::semibold(font()));
    for (QWidget *status : std::initializer_list<QWidget *>{m_statusText, m_statusLink})
        status->setFont(typescale::scaled(font(), typescale::callout));
    const QFont caption = typescale::scaled(font(), typescale::caption);
    m_hotKeyText->setFont(caption);
    m_footerText->setFont(caption);
    for (QWidget *each : m_captions)
        each->setFont(caption);
    shareWidthAmongLanguages();
}

void ContentView::redraw() {
    redrawActivity();
    redrawHotKey();
    redrawHotKeyRecorder();
    redrawLanguages();
    redrawEngine();
    redrawEndpoint();
    redrawToken();
    redrawStatus();
    redrawTranscript();
    redrawTranslation();
}

void ContentView::redrawActivity() {
    const auto state = m_controller.dictationState();
    const bool isRecording = state == DictationState::recording;
    const bool isBusy = state != DictationState::idle;
    m_headerIcon->setSymbol(isRecording ? u"mic.circle.fill"_s : u"globe"_s);
    m_headerIcon->setColor(isRecording ? PanelPalette::recording(palette())
                                       : PanelPalette::accentText(palette()));
    for (QLineEdit *field : {m_endpointField, m_tokenField})
        field->setEnabled(!isBusy);
    m_mainButton->setText(isRecording ? u"Stop"_s : u"Start"_s);
    m_mainButton->setSymbol(isRecording ? u"stop.fill"_s : u"mic.fill"_s);
    m_mainButton->setSurfaceColor(isRecording ? PanelPalette::recordingSurface() : QColor());
    m_mainButton->setEnabled(state != DictationState::processing);
    m_prepareButton->setEnabled(!isBusy);
    redrawPasteButton();
    m_statusDot->setColor(colorOf(state, palette()));
}

void ContentView::redrawPasteButton() {
    const bool isBusy = m_controller.dictationState() != DictationState::idle;
    m_pasteButton->setEnabled(!isBusy && !m_controller.translatedText().isEmpty());
}

void ContentView::redrawHotKey() {
    const bool isRecordingHotKey = m_controller.isRecordingHotKey();
    m_hotKeyText->setPlainText(m_controller.hotKeyDisplayName());
    recolor(*m_hotKeyText, QPalette::WindowText,
            isRecordingHotKey ? PanelPalette::accentText(palette())
                              : palette().color(QPalette::PlaceholderText));
    m_recordHotKeyButton->setSymbol(isRecordingHotKey ? u"xmark.circle"_s : u"keyboard"_s);
    m_recordHotKeyButton->setHelpText(isRecordingHotKey ? u"Cancel hotkey recording"_s : u"Record hotkey"_s);
    m_resetHotKeyButton->setEnabled(m_controller.hotKey() != AppHotKey::defaultValue);
}

void ContentView::redrawLanguages() {
    m_sourcePicker->select(m_controller.sourceLocaleIdentifier());
    m_targetPicker->select(m_controller.targetLanguageIdentifier());
    shareWidthAmongLanguages();
    m_swapButton->setEnabled(m_controller.canSwapLanguages());
    const auto source = m_controller.selectedSource();
    const auto target = m_controller.selectedTarget();
    m_footerText->setPlainText(source.flag + u' ' + source.name + u" -> "_s + target.flag + u' ' +
                               target.name);
}

void ContentView::setLanguageMarks(const QHash<QString, Picker::Mark> &sources,
                                   const QHash<QString, Picker::Mark> &targets) {
    m_sourcePicker->setMarks(sources);
    m_targetPicker->setMarks(targets);
}

void ContentView::setStatusLink(StatusLink link) { m_statusLink->setVisible(link == StatusLink::models); }

/// Each picker has half of the width, or what it needs more as far as the other can spare it.
void ContentView::shareWidthAmongLanguages() {
    const int width = panelWidth - 2 * panelPadding - 2 * controlSpacing - m_swapButton->sizeHint().width();
    const int wanted = m_sourcePicker->fullWidth();
    const int leftOver = width - m_targetPicker->fullWidth();
    const int share = std::clamp(width / 2, std::min(wanted, leftOver), std::max(wanted, leftOver));
    if (m_languageControls->columnStretch(sourceColumn) == share)
        return;
    m_languageControls->setColumnStretch(sourceColumn, share);
    m_languageControls->setColumnStretch(targetColumn, width - share);
}

void ContentView::redrawEngine() {
    const auto engine = m_controller.selectedTranslationEngine();
    m_enginePicker->select(rawValue(engine));
    for (QLineEdit *field : {m_endpointField, m_tokenField})
        field->parentWidget()->setVisible(engine == TranslationEngine::openAINatural);
}

void ContentView::redrawEndpoint() { fill(*m_endpointField, m_controller.openAIEndpointString()); }

void ContentView::redrawToken() { fill(*m_tokenField, m_controller.openAIClientToken()); }

void ContentView::redrawStatus() { m_statusText->setStatus(m_controller.statusText()); }

void ContentView::redrawTranscript() { m_transcriptText->setText(m_controller.transcriptText()); }

void ContentView::redrawTranslation() {
    m_translationText->setText(m_controller.translatedText());
    redrawPasteButton();
}

void ContentView::redrawHotKeyRecorder() {
    m_hotKeyRecorder->setDescription(
        {m_controller.isRecordingHotKey(),
         [this](const AppHotKey &hotKey) { m_controller.setRecordedHotKey(hotKey); },
         [this] { m_controller.cancelHotKeyRecording(); }, [this] { m_controller.rejectRecordedHotKey(); }});
}

void ContentView::changeEvent(QEvent *event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        redraw();
    else if (event->type() == QEvent::FontChange)
        applyFonts();
}

bool ContentView::event(QEvent *event) {
    if (event->type() == QEvent::WindowActivate || event->type() == QEvent::WindowDeactivate)
        tellPresence();
    return QWidget::event(event);
}

void ContentView::tellPresence() {
    m_controller.setPanelPresence(isActiveWindow() ? PanelPresence::active : PanelPresence::inBackground);
}

void ContentView::keyPressEvent(QKeyEvent *event) {
    const bool isEscapeAlone = event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier;
    if (!isEscapeAlone)
        return QWidget::keyPressEvent(event);
    if (m_keyRepeats.isRepeat(*event)) // what the first press did is all that it does
        return;
    if (m_controller.isRecordingHotKey())
        m_controller.cancelHotKeyRecording();
    else
        Q_EMIT closeRequested();
}

void ContentView::keyReleaseEvent(QKeyEvent *event) {
    m_keyRepeats.noteRelease(*event);
    QWidget::keyReleaseEvent(event);
}

/// Keys reach the panel only if one of its controls has the focus.
void ContentView::showEvent(QShowEvent *event) {
    QWidget::showEvent(event);
    if (const QWidget *focused = window()->focusWidget(); !focused || !isAncestorOf(focused))
        m_mainButton->setFocus(Qt::OtherFocusReason);
    tellPresence();
}

void ContentView::hideEvent(QHideEvent *event) {
    QWidget::hideEvent(event);
    m_controller.setPanelPresence(PanelPresence::closed);
}

} // namespace quillora
