#include "recognizer/sherpa/ModelText.h"

#include <QTest>

using namespace quillora;

class ModelTextTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void onlyWhatCannotBeMeantIsChanged_data() {
        QTest::addColumn<QByteArray>("written");
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("nothing") << QByteArray() << QByteArray();
        QTest::newRow("words") << QByteArray("He was, e.g., 3-4 m.") << QByteArray("He was, e.g., 3-4 m.");
        QTest::newRow("a blank before the first word") << QByteArray(" he was") << QByteArray("he was");
        QTest::newRow("a blank after the last word") << QByteArray("he was ") << QByteArray("he was");
        QTest::newRow("two blanks") << QByteArray("he  was") << QByteArray("he was");
        QTest::newRow("blanks alone") << QByteArray("   ") << QByteArray();
        QTest::newRow("a blank of vocabularies") << QByteArray("\u2581he\u2581was") << QByteArray("he was");
        QTest::newRow("a wide blank") << QByteArray("\u4F60\u3000\u597D") << QByteArray("\u4F60 \u597D");
        QTest::newRow("ends of lines") << QByteArray("he\r\nwas\t\x7fnot") << QByteArray("he was not");
        QTest::newRow("letters of all lengths")
            << QByteArray("a\u00E9\u4F60\U0001F600") << QByteArray("a\u00E9\u4F60\U0001F600");
        QTest::newRow("half a letter at the end") << QByteArray("caf\xC3") << QByteArray("caf");
        QTest::newRow("half a letter in the middle") << QByteArray("\xE4\xBD he") << QByteArray("he");
        QTest::newRow("no letters") << QByteArray("\xFF\x80\xC0\xAFhe") << QByteArray("he");
        QTest::newRow("a letter that is too long")
            << QByteArray("\xF8\x88\x80\x80\x80he") << QByteArray("he");
    }
    void onlyWhatCannotBeMeantIsChanged() {
        QFETCH(QByteArray, written);
        QFETCH(QByteArray, text);
        QCOMPARE(QByteArray::fromStdString(recognizer::modelText(written.toStdString())), text);
    }
};

QTEST_APPLESS_MAIN(ModelTextTest)
#include "ModelTextTest.moc"
