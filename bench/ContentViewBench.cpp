#include "DictatedWords.h"
#include "ui/PanelHarness.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora::test;

/// What an interim result costs the whole panel, drawing included, after so many words of one dictation.
class ContentViewBench : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void interimResult_data() {
        QTest::addColumn<int>("wordCount");
        for (const int count : {10, 1000, 10000})
            QTest::addRow("%d words", count) << count;
    }

    void interimResult() {
        QFETCH(int, wordCount);
        PanelHarness harness;
        harness.show();
        harness.startRecording();
        const QString said = dictatedWords(wordCount);
        harness.say(said);
        QCoreApplication::processEvents();
        int turn = 0;
        QBENCHMARK {
            harness.say(said + dictatedWords(1 + turn++ % 8));
            QCoreApplication::processEvents();
        }
    }

    /// The panel's own work for one word more, without what the recognizer and the screen cost.
    void oneInterimWordUndrawn() {
        PanelHarness harness;
        harness.show();
        harness.startRecording();
        const QString said = dictatedWords(10);
        int turn = 0;
        harness.say(said);
        QCoreApplication::processEvents();
        QBENCHMARK { harness.say(said + dictatedWords(1 + turn++ % 2)); }
    }

    void interimResultOfTenThousandCharacters_data() { addScripts(); }

    void interimResultOfTenThousandCharacters() {
        QFETCH(QString, sentence);
        PanelHarness harness;
        harness.show();
        harness.startRecording();
        const QString said = dictated(sentence, 10000);
        harness.say(said);
        QCoreApplication::processEvents();
        int turn = 0;
        QBENCHMARK {
            harness.say(said + dictated(sentence, 5 + 5 * (turn++ % 8)));
            QCoreApplication::processEvents();
        }
    }

    /// What it costs to show a status of that length.
    void status_data() {
        QTest::addColumn<int>("length");
        for (const int length : {50, 1000, 1 << 20})
            QTest::addRow("%d characters", length) << length;
    }

    void status() {
        QFETCH(int, length);
        PanelHarness harness;
        harness.show();
        const QString text = u"Translation failed: "_s + u"words of an error "_s.repeated(length / 18 + 1);
        const QList<QString> texts{u"a "_s + text, u"b "_s + text};
        int turn = 0;
        QBENCHMARK {
            harness.controller->setStatusText(texts.at(turn++ % 2));
            harness.platform.run();
            QCoreApplication::processEvents();
        }
    }
};

QTEST_MAIN(ContentViewBench)
#include "ContentViewBench.moc"
