#pragma once

#include "platform/ModelConsent.h"

#include <QString>
#include <QWidget>

class QLabel;

namespace quillora {

class PanelButton;

/// Asks whether something may be downloaded. Whoever closes it, be it by Escape, says "Not Now".
class DownloadQuestionWindow : public QWidget {
    Q_OBJECT

public:
    /// `reply` is called once, while the window closes or when it is destroyed.
    DownloadQuestionWindow(const QString &question, platform::ModelConsent::Reply reply,
                           QWidget *parent = nullptr);
    ~DownloadQuestionWindow() override;

    /// Less may be asked for by now.
    void setQuestion(const QString &question);

    /// As the button does: he has agreed elsewhere.
    void agree();

Q_SIGNALS:
    /// The user wants to choose among models before.
    void modelsWanted();

protected:
    void closeEvent(QCloseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    platform::ModelConsent::Reply takeReply();

    platform::ModelConsent::Reply m_reply; ///< does nothing once it was taken

    // Owned by this widget.
    QLabel *m_text;
    PanelButton *m_download;
};

} // namespace quillora
