#include "DictatedWords.h"
#include "ui/PanelHarness.h"

#include <QTest>

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
};

QTEST_MAIN(ContentViewBench)
#include "ContentViewBench.moc"
