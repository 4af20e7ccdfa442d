#include "ui/DownloadQuestionWindow.h"

#include "platform/ApplicationIdentity.h"
#include "ui/PanelAppearance.h"
#include "ui/PanelButton.h"
#include "ui/SymbolView.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QVBoxLayout>

#include <utility>

using namespace Qt::StringLiterals;

namespace quillora {

using platform::DownloadAnswer;

namespace {

constexpr int textWidth = 300;
constexpr int padding = 18;
constexpr int spacing = 16;
constexpr int buttonSpacing = 8;
constexpr int symbolSize = 32;

} // namespace

DownloadQuestionWindow::DownloadQuestionWindow(const QString &question, platform::ModelConsent::Reply reply,
                                               QWidget *parent)
    : QWidget(parent, Qt::Dialog | Qt::WindowStaysOnTopHint), m_reply(std::move(reply)), m_text(new QLabel),
      m_download(new PanelButton(PanelButton::Look::prominent)) {
    setObjectName(u"downloadQuestion"_s);
    setWindowTitle(applicationName);
    setAutoFillBackground(true);
    new PanelAppearance(*this); // owned by this window

    auto *symbol = new SymbolView(symbolSize);
    symbol->setSymbol(u"arrow.down.circle"_s);
    m_text->setObjectName(u"question"_s);
    m_text->setTextFormat(Qt::PlainText);
    m_text->setWordWrap(true);
    m_text->setFixedWidth(textWidth);
    m_download->setObjectName(u"downloadButton"_s);
    m_download->setText(u"Download"_s);
    m_download->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    auto *notNow = new PanelButton(PanelButton::Look::bordered);
    notNow->setObjectName(u"notNowButton"_s);
    notNow->setText(u"Not Now"_s);
    connect(m_download, &PanelButton::clicked, this, &DownloadQuestionWindow::agree);
    connect(notNow, &PanelButton::clicked, this, &QWidget::close);

    auto *models = new PanelButton(PanelButton::Look::bordered);
    models->setObjectName(u"modelsButton"_s);
    models->setText(u"Models…"_s);
    connect(models, &PanelButton::clicked, this, &DownloadQuestionWindow::modelsWanted);

    auto *message = new QHBoxLayout;
    message->setSpacing(spacing);
    message->addWidget(symbol, 0, Qt::AlignTop);
    message->addWidget(m_text, 1);
    auto *buttons = new QHBoxLayout;
    buttons->setSpacing(buttonSpacing);
    buttons->addWidget(models);
    buttons->addStretch(1);
    buttons->addWidget(notNow);
    buttons->addWidget(m_download);
    auto *stack = new QVBoxLayout(this);
    stack->setSizeConstraint(QLayout::SetFixedSize);
    stack->setContentsMargins(padding, padding, padding, padding);
    stack->setSpacing(spacing);
    stack->addLayout(message);
    stack->addLayout(buttons);
    setQuestion(question);
}

void DownloadQuestionWindow::setQuestion(const QString &question) {
    m_text->setText(question);
    m_download->setAccessibleDescription(question); // read out with the first thing that has the focus
}

DownloadQuestionWindow::~DownloadQuestionWindow() { takeReply()(DownloadAnswer::notNow); }

/// What is left in its place says nothing.
platform::ModelConsent::Reply DownloadQuestionWindow::takeReply() {
    return std::exchange(m_reply, [](DownloadAnswer) {});
}

void DownloadQuestionWindow::agree() {
    const auto reply = takeReply();
    close();
    reply(DownloadAnswer::download);
}

void DownloadQuestionWindow::closeEvent(QCloseEvent *event) {
    QWidget::closeEvent(event);
    takeReply()(DownloadAnswer::notNow);
}

void DownloadQuestionWindow::keyPressEvent(QKeyEvent *event) {
    if (event->key() == Qt::Key_Escape)
        close();
    else
        QWidget::keyPressEvent(event);
}

void DownloadQuestionWindow::showEvent(QShowEvent *event) {
    QWidget::showEvent(event);
    m_download->setFocus(Qt::OtherFocusReason);
}

} // namespace quillora
