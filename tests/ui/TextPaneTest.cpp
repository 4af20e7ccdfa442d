#include "ui/TextPane.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QRandomGenerator>
#include <QScrollBar>
#include <QTest>
#include <QTextBlock>
#include <QTextLayout>

#include <memory>

using quillora::TextPane;

namespace {

QString words(int count) {
    QString text;
    for (int i = 0; i < count; ++i)
        text += u"word%1 "_qs.arg(i * 7919 % 1013);
    return text.trimmed();
}

std::unique_ptr<TextPane> shown(TextPane::Follow follow = TextPane::Follow::end) {
    auto pane = std::make_unique<TextPane>(follow);
    pane->resize(344, 82);
    pane->show();
    return pane;
}

/// The lines as they stand on the screen.
QStringList linesOf(const TextPane &pane) {
    QStringList lines;
    for (auto block = pane.document()->begin(); block.isValid(); block = block.next()) {
        pane.document()->documentLayout()->blockBoundingRect(block);
        for (int number = 0; number < block.layout()->lineCount(); ++number) {
            const auto line = block.layout()->lineAt(number);
            lines += block.text().mid(line.textStart(), line.textLength()).trimmed();
        }
    }
    return lines;
}

QStringList linesOfPlainEditor(const QString &text, const TextPane &like) {
    TextPane plain(TextPane::Follow::end);
    plain.setFont(like.font());
    QTextLayout layout(text, like.document()->defaultFont());
    layout.setTextOption(like.document()->defaultTextOption());
    QStringList lines;
    layout.beginLayout();
    for (auto line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(like.viewport()->width());
        lines += text.mid(line.textStart(), line.textLength()).trimmed();
    }
    layout.endLayout();
    return lines;
}

QString copied(TextPane &pane) {
    pane.selectAll();
    pane.copy();
    return QGuiApplication::clipboard()->text();
}

} // namespace

class TextPaneTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aLongParagraphLooksLikeOneParagraph() {
        const auto pane = shown();
        const QString text = words(3000);
        pane->setText(text);
        QCoreApplication::processEvents();
        QVERIFY(pane->document()->blockCount() > 10);
        QCOMPARE(linesOf(*pane), linesOfPlainEditor(text, *pane));
    }

    void aTextThatGrowsLooksAsIfSetAtOnce() {
        const auto pane = shown();
        const QString text = words(800);
        for (qsizetype end = 0; end < text.size(); end += 13)
            pane->setText(text.left(end));
        pane->setText(text);
        QCoreApplication::processEvents();
        QCOMPARE(linesOf(*pane), linesOfPlainEditor(text, *pane));
    }

    void revisedWordsLookAsIfSetAtOnce() {
        QRandomGenerator random(20);
        const auto pane = shown();
        QString text = words(600);
        for (int turn = 0; turn < 300; ++turn) {
            const auto keep = random.bounded(static_cast<quint32>(std::min<qsizetype>(text.size(), 2000)));
            text = text.left(text.size() - keep) + words(random.bounded(250));
            pane->setText(text);
            if (turn % 10 == 0) {
                QCoreApplication::processEvents();
                QCOMPARE(linesOf(*pane), linesOfPlainEditor(text, *pane));
            }
        }
    }

    void copyingGivesTheTextAsItIs() {
        const auto pane = shown();
        const QString text = words(3000) + u"\nnext line\n\nand 日本語 "_qs + words(300);
        pane->setText(text);
        QCOMPARE(copied(*pane), text);
    }

    void everyCharacterKeepsItsPlace() {
        const auto pane = shown();
        const QString text = words(3000);
        pane->setText(text);
        QCOMPARE(pane->toPlainText().replace(u'\n', u' '), text);
    }

    void lineEndsOfTwoCharactersCountAsOne() {
        const auto pane = shown();
        pane->setText(u"one\r\ntwo"_qs);
        pane->setText(u"one\r\ntwo three"_qs);
        QCOMPARE(pane->toPlainText(), u"one\ntwo three"_qs);
    }

    void characterPairsAreNotTornApart() {
        const auto pane = shown();
        pane->setText(u"a 🇺🇸"_qs);
        pane->setText(u"a 🇺🇦"_qs);
        QCOMPARE(pane->toPlainText(), u"a 🇺🇦"_qs);
    }

    void theNewestWordsStayInView() {
        const auto pane = shown();
        for (int count = 10; count < 300; count += 10) {
            pane->setText(words(count));
            QCoreApplication::processEvents();
            QCOMPARE(pane->verticalScrollBar()->value(), pane->verticalScrollBar()->maximum());
        }
        QVERIFY(pane->verticalScrollBar()->maximum() > 10);
    }

    void aUserWhoScrolledUpStaysThere() {
        const auto pane = shown();
        pane->setText(words(200));
        QCoreApplication::processEvents();
        pane->verticalScrollBar()->setValue(3);
        pane->setText(words(250));
        QCoreApplication::processEvents();
        QCOMPARE(pane->verticalScrollBar()->value(), 3);
    }

    void aUserWhoScrolledBackDownFollowsAgain() {
        const auto pane = shown();
        pane->setText(words(200));
        pane->verticalScrollBar()->setValue(3);
        pane->verticalScrollBar()->setValue(pane->verticalScrollBar()->maximum());
        pane->setText(words(250));
        QCoreApplication::processEvents();
        QCOMPARE(pane->verticalScrollBar()->value(), pane->verticalScrollBar()->maximum());
    }

    void theNextDictationIsFollowedFromItsStart() {
        const auto pane = shown();
        pane->setText(words(200));
        pane->verticalScrollBar()->setValue(3);
        pane->setText({});
        pane->setText(words(200));
        QCoreApplication::processEvents();
        QCOMPARE(pane->verticalScrollBar()->value(), pane->verticalScrollBar()->maximum());
    }

    void aTranslationShowsItsBeginning() {
        const auto pane = shown(TextPane::Follow::beginning);
        pane->setText(words(200));
        QCoreApplication::processEvents();
        QCOMPARE(pane->verticalScrollBar()->value(), 0);
        QVERIFY(pane->verticalScrollBar()->maximum() > 0);
    }

    void aTextSetBeforeThePaneIsShownIsFollowed() {
        TextPane pane(TextPane::Follow::end);
        pane.setText(words(200));
        pane.resize(344, 82);
        pane.show();
        QCoreApplication::processEvents();
        QVERIFY(pane.verticalScrollBar()->maximum() > 0);
        QCOMPARE(pane.verticalScrollBar()->value(), pane.verticalScrollBar()->maximum());
    }

    void aSelectionSurvivesNewWords() {
        const auto pane = shown();
        pane->setText(words(50));
        auto cursor = pane->textCursor();
        cursor.setPosition(0);
        cursor.setPosition(20, QTextCursor::KeepAnchor);
        pane->setTextCursor(cursor);
        pane->setText(words(500));
        QCOMPARE(pane->textCursor().selectionStart(), 0);
        QCOMPARE(pane->textCursor().selectionEnd(), 20);
    }

    void theTextCannotBeEditedOrUndone() {
        const auto pane = shown();
        pane->setText(u"words"_qs);
        QTest::keyClicks(pane.get(), u"more"_qs);
        QTest::keyClick(pane.get(), Qt::Key_Delete);
        QTest::keyClick(pane.get(), Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(pane->toPlainText(), u"words"_qs);
    }
};

QTEST_MAIN(TextPaneTest)
#include "TextPaneTest.moc"
