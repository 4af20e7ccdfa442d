#include "ui/TextPane.h"

#include <QAbstractTextDocumentLayout>
#include <QClipboard>
#include <QGuiApplication>
#include <QHash>
#include <QMimeData>
#include <QRandomGenerator>
#include <QScrollBar>
#include <QTest>
#include <QTextBlock>
#include <QTextLayout>

#include <memory>

using namespace Qt::StringLiterals;

using quillora::TextPane;

namespace {

QString words(int count) {
    QString text;
    for (int i = 0; i < count; ++i)
        text += u"word%1 "_s.arg(i * 7919 % 1013);
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

/// So many characters of a script, as somebody might dictate them.
QString dictated(const QString &script, qsizetype length) {
    static const QHash<QString, QString> sentences{
        {u"Chinese"_s, u"今天天气很好，我们一起去公园散步吧。他说Qt的版本是6.4，不是5.15。"_s},
        {u"Japanese"_s,
         u"今日はとても良い天気ですね、公園へ散歩に行きましょう。コンピューターは新しいです。"_s},
        {u"Thai"_s, u"สวัสดีครับวันนี้อากาศดีมากเราไปเดินเล่นที่สวนกันเถอะ"_s},
        {u"Arabic"_s, u"مرحبا، الطقس جميل اليوم، لنذهب في نزهة مع LibreOffice Writer و Qt 6.4 غدا. "_s},
        {u"Hebrew"_s, u"שלום, מזג האוויר יפה היום, בואו נצא לטיול עם LibreOffice Writer מחר. "_s},
        {u"English"_s, u"the weather is fine today, let us go for a walk in the park مرحبا tomorrow. "_s},
    };
    const QString sentence = sentences.value(script);
    return sentence.repeated(length / sentence.size() + 1).first(length);
}

void addScripts() {
    QTest::addColumn<QString>("script");
    for (const auto *script : {"Chinese", "Japanese", "Thai", "Arabic", "Hebrew", "English"})
        QTest::newRow(script) << QString::fromLatin1(script);
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

    void aWordThatShrinksGoesBackToTheLineBefore() {
        const auto pane = shown();
        QString text;
        for (int i = 0; i < 500; ++i)
            text += u"extraordinarily"_s.left(5 + i * 7 % 11) + u' ';
        int movedBack = 0;
        for (qsizetype end = 700; end < text.size(); end += 50) {
            pane->setText(text.left(end));
            const int start = pane->document()->lastBlock().position();
            pane->setText(text.left(start) + u'i');
            const QStringList expected = linesOfPlainEditor(pane->text(), *pane);
            QCOMPARE(linesOf(*pane), expected);
            movedBack += expected.last() != u"i"_s;
        }
        QVERIFY(movedBack > 10);
    }

    // Scripts without blanks, and from right to left.

    void aTextOfAnyScriptLooksLikeOneParagraph_data() { addScripts(); }
    void aTextOfAnyScriptLooksLikeOneParagraph() {
        QFETCH(QString, script);
        const auto pane = shown();
        const QString text = dictated(script, 5000);
        pane->setText(text);
        QCoreApplication::processEvents();
        QCOMPARE(linesOf(*pane), linesOfPlainEditor(text, *pane));
    }

    void aTextOfAnyScriptGrowsWithoutJumps_data() { addScripts(); }
    void aTextOfAnyScriptGrowsWithoutJumps() {
        QFETCH(QString, script);
        const auto pane = shown();
        const QString text = dictated(script, 3000);
        QStringList before;
        for (qsizetype end = 7; end < text.size(); end += 7) {
            pane->setText(text.first(end));
            QCoreApplication::processEvents();
            QCOMPARE(pane->verticalScrollBar()->value(), pane->verticalScrollBar()->maximum());
            const QStringList lines = linesOf(*pane);
            if (before.size() > 2) // the last two may change when the text goes on
                QCOMPARE(lines.first(before.size() - 2), before.first(before.size() - 2));
            before = lines;
        }
        pane->setText(text);
        QCOMPARE(linesOf(*pane), linesOfPlainEditor(text, *pane));
    }

    void noParagraphOfAnyScriptGetsLong_data() { addScripts(); }
    void noParagraphOfAnyScriptGetsLong() {
        QFETCH(QString, script);
        const auto pane = shown();
        const QString text = dictated(script, 10000);
        for (qsizetype end = 100; end <= text.size(); end += 100)
            pane->setText(text.first(end));
        for (auto block = pane->document()->begin(); block.isValid(); block = block.next())
            QVERIFY2(block.length() <= 600, qPrintable(QString::number(block.length())));
    }

    void copyingGivesATextOfAnyScriptAsItIs_data() { addScripts(); }
    void copyingGivesATextOfAnyScriptAsItIs() {
        QFETCH(QString, script);
        const auto pane = shown();
        const QString text = dictated(script, 3000) + u"\n\nnext\n"_s + dictated(script, 2000);
        for (qsizetype end = 1; end < text.size(); end += 331)
            pane->setText(text.first(end));
        pane->setText(text);
        QCOMPARE(copied(*pane), text);
        QTextCursor cursor(pane->document());
        cursor.setPosition(pane->document()->lastBlock().position() - 5);
        cursor.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
        pane->setTextCursor(cursor);
        pane->copy();
        QVERIFY(text.endsWith(QGuiApplication::clipboard()->text()));
        QVERIFY(QGuiApplication::clipboard()->text().size() >= pane->document()->lastBlock().length() - 1);
    }

    void revisedWordsOfAnyScriptLookAsIfSetAtOnce_data() { addScripts(); }
    void revisedWordsOfAnyScriptLookAsIfSetAtOnce() {
        QFETCH(QString, script);
        QRandomGenerator random(20);
        const auto pane = shown();
        const QString source = dictated(script, 20000);
        QString text = source.first(2500);
        for (int turn = 0; turn < 150; ++turn) {
            const auto cut = random.bounded(static_cast<quint32>(std::min<qsizetype>(text.size(), 1500)));
            const auto from = random.bounded(10000);
            text = text.first(text.size() - cut) + source.mid(from, random.bounded(1600));
            pane->setText(text);
            if (turn % 10 == 0) {
                QCoreApplication::processEvents();
                QCOMPARE(linesOf(*pane), linesOfPlainEditor(text, *pane));
            }
        }
    }

    void eachParagraphHasTheDirectionOfItsFirstLetter() {
        const auto pane = shown();
        const QString arabic = dictated(u"Arabic"_s, 2500);
        const QString english = dictated(u"English"_s, 2500);
        pane->setText(arabic + u'\n' + english + u'\n' + arabic);
        QCOMPARE(directions(*pane), (QList{Qt::RightToLeft, Qt::LeftToRight, Qt::RightToLeft}));
        pane->setText(english);
        QCOMPARE(directions(*pane), QList{Qt::LeftToRight});
        pane->setText(u"LibreOffice "_s + arabic);
        QCOMPARE(directions(*pane), QList{Qt::LeftToRight});
        pane->setText(arabic);
        QCOMPARE(directions(*pane), QList{Qt::RightToLeft});
    }

    void whatReadsFromRightToLeftStandsAtTheRight() {
        const auto pane = shown();
        pane->setText(dictated(u"Arabic"_s, 1500) + u"\nshort"_s);
        for (auto block = pane->document()->begin(); block.isValid(); block = block.next()) {
            pane->document()->documentLayout()->blockBoundingRect(block);
            for (int number = 0; number < block.layout()->lineCount(); ++number) {
                const auto line = block.layout()->lineAt(number);
                const bool isLast = block == pane->document()->lastBlock();
                if (isLast)
                    QCOMPARE(line.naturalTextRect().left(), line.rect().left());
                else
                    QVERIFY(line.naturalTextRect().right() >= line.rect().right() - 1);
            }
        }
    }

    void copyingGivesTheTextAsItIs() {
        const auto pane = shown();
        const QString text = words(3000) + u"\nnext line\n\nand 日本語 "_s + words(300);
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
        pane->setText(u"one\r\ntwo"_s);
        pane->setText(u"one\r\ntwo three"_s);
        QCOMPARE(pane->toPlainText(), u"one\ntwo three"_s);
    }

    void characterPairsAreNotTornApart() {
        const auto pane = shown();
        pane->setText(u"a 🇺🇸"_s);
        pane->setText(u"a 🇺🇦"_s);
        QCOMPARE(pane->toPlainText(), u"a 🇺🇦"_s);
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
        pane->setText(u"words"_s);
        QTest::keyClicks(pane.get(), u"more"_s);
        QTest::keyClick(pane.get(), Qt::Key_Delete);
        QTest::keyClick(pane.get(), Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(pane->toPlainText(), u"words"_s);
    }

private:
    /// Of each paragraph of the text; all of its pieces must agree.
    static QList<Qt::LayoutDirection> directions(const TextPane &pane) {
        QList<Qt::LayoutDirection> directions;
        qsizetype shown = 0;
        for (auto block = pane.document()->begin(); block.isValid(); block = block.next()) {
            pane.document()->documentLayout()->blockBoundingRect(block);
            const auto told = block.layout()->textOption().textDirection();
            const auto direction = told != Qt::LayoutDirectionAuto ? told
                                   : block.text().isRightToLeft()  ? Qt::RightToLeft
                                                                   : Qt::LeftToRight;
            if (directions.isEmpty() || directions.last() != direction)
                directions += direction;
            shown += block.lineCount();
        }
        return shown > 20 ? directions : QList<Qt::LayoutDirection>();
    }
};

QTEST_MAIN(TextPaneTest)
#include "TextPaneTest.moc"
