#include "platform/linux/translation/apertium/ApertiumModes.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace quillora::platform;

/// Which way leads from one language to another, given what is installed.
class ApertiumModesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void routes_data();
    void routes();
    void aFolderThatDoesNotExistHasNoPairs();
};

void ApertiumModesTest::routes_data() {
    QTest::addColumn<QStringList>("installed");
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("target");
    QTest::addColumn<QStringList>("route");
    const QStringList european{u"eng-spa"_qs, u"spa-eng"_qs, u"spa-fra"_qs, u"fra-spa"_qs, u"es-pt"_qs};
    QTest::newRow("direct") << european << u"en"_qs << u"es"_qs << QStringList{u"eng-spa"_qs};
    QTest::newRow("the other way") << european << u"es"_qs << u"en"_qs << QStringList{u"spa-eng"_qs};
    QTest::newRow("two-letter names") << european << u"es"_qs << u"pt"_qs << QStringList{u"es-pt"_qs};
    QTest::newRow("pivot") << european << u"en"_qs << u"fr"_qs << QStringList{u"eng-spa"_qs, u"spa-fra"_qs};
    QTest::newRow("one way only") << european << u"pt"_qs << u"es"_qs << QStringList();
    QTest::newRow("no second step") << european << u"en"_qs << u"ru"_qs << QStringList();
    QTest::newRow("direct before pivot") << QStringList{u"eng-cat"_qs, u"cat-spa"_qs, u"eng-spa"_qs}
                                         << u"en"_qs << u"es"_qs << QStringList{u"eng-spa"_qs};
    QTest::newRow("never three steps")
        << QStringList{u"eng-spa"_qs, u"spa-fra"_qs, u"fra-ita"_qs} << u"en"_qs << u"it"_qs << QStringList();
    QTest::newRow("variants are left alone")
        << QStringList{u"spa-eng_US"_qs, u"eng-spa-tagger"_qs} << u"es"_qs << u"en"_qs << QStringList();
    QTest::newRow("the same language") << european << u"en"_qs << u"en"_qs << QStringList();
    QTest::newRow("nothing installed") << QStringList() << u"en"_qs << u"es"_qs << QStringList();
}

void ApertiumModesTest::routes() {
    QFETCH(const QStringList, installed);
    QFETCH(const QString, source);
    QFETCH(const QString, target);
    QFETCH(const QStringList, route);
    const QTemporaryDir folder;
    for (const QString &pair : installed)
        QVERIFY(QFile(folder.filePath(pair + u".mode"_qs)).open(QIODevice::WriteOnly));
    QStringList files;
    for (const QString &pair : route)
        files.append(folder.filePath(pair + u".mode"_qs));
    QStringList found;
    for (const ApertiumMode &mode : ApertiumModes(folder.path()).route(source, target))
        found.append(mode.file);
    QCOMPARE(found, files);
}

void ApertiumModesTest::aFolderThatDoesNotExistHasNoPairs() {
    const QTemporaryDir folder;
    QCOMPARE(ApertiumModes(folder.filePath(u"none"_qs)).route(u"en"_qs, u"es"_qs), QList<ApertiumMode>());
}

QTEST_APPLESS_MAIN(ApertiumModesTest)
#include "ApertiumModesTest.moc"
