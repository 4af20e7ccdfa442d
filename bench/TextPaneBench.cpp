#include "DictatedWords.h"
#include "ui/TextPane.h"

#include <QTest>

using quillora::TextPane;

/// What an interim result costs, drawing included, after so many words of the same dictation.
class TextPaneBench : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void interimResult_data() {
        QTest::addColumn<int>("wordCount");
        for (const int count : {10, 100, 1000, 10000, 50000})
            QTest::addRow("%d words", count) << count;
    }

    void interimResult() {
        QFETCH(int, wordCount);
        TextPane pane(TextPane::Follow::end);
        pane.resize(344, 82);
        pane.show();
        const QString said = dictatedWords(wordCount);
        pane.setText(said);
        QCoreApplication::processEvents();
        int turn = 0;
        QBENCHMARK {
            pane.setText(said + dictatedWords(1 + turn++ % 8)); // the recognizer revises its last words
            pane.repaint();
        }
    }

    void interimResultOfTenThousandCharacters_data() { addScripts(); }

    void interimResultOfTenThousandCharacters() {
        QFETCH(QString, sentence);
        TextPane pane(TextPane::Follow::end);
        pane.resize(344, 82);
        pane.show();
        const QString said = dictated(sentence, 10000);
        pane.setText(said);
        QCoreApplication::processEvents();
        int turn = 0;
        QBENCHMARK {
            pane.setText(said + dictated(sentence, 5 + 5 * (turn++ % 8)));
            pane.repaint();
        }
    }

    void wholeTextAtOnce() {
        TextPane pane(TextPane::Follow::end);
        pane.resize(344, 82);
        pane.show();
        const QString text = dictatedWords(10000);
        QBENCHMARK {
            pane.setText({});
            pane.setText(text);
            pane.repaint();
        }
    }
};

QTEST_MAIN(TextPaneBench)
#include "TextPaneBench.moc"
