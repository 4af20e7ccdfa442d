#include "ui/DownloadQuestionWindow.h"
#include "fakes/FakePlatform.h"
#include "ui/PanelButton.h"
#include "ui/PanelPalette.h"
#include "ui/SymbolView.h"

#include <QAccessible>
#include <QLabel>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace quillora::test;
using platform::Appearance;
using platform::DownloadAnswer;

/// What is asked before a download: how it looks, and when the answer comes.
class DownloadQuestionWindowTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_platform = std::make_unique<FakePlatform>();
        m_answers.clear();
        m_window = std::make_unique<DownloadQuestionWindow>(u"Download it?"_s, [this](auto answer) {
            m_answers += answer;
            m_wasOpen = m_window && m_window->isVisible();
        });
        m_window->show();
    }
    void cleanup() {
        m_window.reset();
        m_platform.reset();
    }

    void theSymbolFollowsTheDesktop() {
        const auto &symbol = *m_window->findChild<SymbolView *>();
        QCOMPARE(symbol.color(), m_window->palette().color(QPalette::PlaceholderText));
        m_platform->appearanceFake.prefer({Appearance::ColorScheme::dark, {}, false});
        QVERIFY(PanelPalette::isDark(m_window->palette()));
        QCOMPARE(symbol.color(), m_window->palette().color(QPalette::PlaceholderText));
    }

    void whatAPublisherCallsItselfIsNoMarkup() {
        DownloadQuestionWindow window(u"From <b>somebody</b>?"_s, [](auto) {});
        auto *text = window.findChild<QLabel *>(u"question"_s);
        // Readers of the screen are told what is shown.
        QCOMPARE(QAccessible::queryAccessibleInterface(text)->text(QAccessible::Name),
                 u"From <b>somebody</b>?"_s);
    }

    void whoAgreesIsHeardOnceTheWindowIsClosed() {
        m_window->findChild<PanelButton *>(u"downloadButton"_s)->click();
        QCOMPARE(m_answers, QList{DownloadAnswer::download});
        QVERIFY(!m_wasOpen);
    }

    void whoClosesItSaysNotNowOnce() {
        m_window->close();
        QCOMPARE(m_answers, QList{DownloadAnswer::notNow}); // before it is taken away
        m_window->close();
        m_window.reset();
        QCOMPARE(m_answers, QList{DownloadAnswer::notNow});
    }

    void whatIsTakenAwaySaysNotNow() {
        m_window.reset();
        QCOMPARE(m_answers, QList{DownloadAnswer::notNow});
    }

private:
    std::unique_ptr<FakePlatform> m_platform;
    std::unique_ptr<DownloadQuestionWindow> m_window;
    QList<DownloadAnswer> m_answers;
    bool m_wasOpen = false; ///< as the answer came
};

QTEST_MAIN(DownloadQuestionWindowTest)
#include "DownloadQuestionWindowTest.moc"
