#include "platform/linux/translation/apertium/ApertiumModes.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
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
    const QStringList european{u"eng-spa"_s, u"spa-eng"_s, u"spa-fra"_s, u"fra-spa"_s, u"es-pt"_s};
    QTest::newRow("direct") << european << u"en"_s << u"es"_s << QStringList{u"eng-spa"_s};
    QTest::newRow("the other way") << european << u"es"_s << u"en"_s << QStringList{u"spa-eng"_s};
    QTest::newRow("two-letter names") << european << u"es"_s << u"pt"_s << QStringList{u"es-pt"_s};
    QTest::newRow("pivot") << european << u"en"_s << u"fr"_s << QStringList{u"eng-spa"_s, u"spa-fra"_s};
    QTest::newRow("one way only") << european << u"pt"_s << u"es"_s << QStringList();
    QTest::newRow("no second step") << european << u"en"_s << u"ru"_s << QStringList();
    QTest::newRow("direct before pivot") << QStringList{u"eng-cat"_s, u"cat-spa"_s, u"eng-spa"_s} << u"en"_s
                                         << u"es"_s << QStringList{u"eng-spa"_s};
    QTest::newRow("never three steps")
        << QStringList{u"eng-spa"_s, u"spa-fra"_s, u"fra-ita"_s} << u"en"_s << u"it"_s << QStringList();
    QTest::newRow("variants are left alone")
        << QStringList{u"spa-eng_US"_s, u"eng-spa-tagger"_s} << u"es"_s << u"en"_s << QStringList();
    QTest::newRow("the same language") << european << u"en"_s << u"en"_s << QStringList();
    QTest::newRow("nothing installed") << QStringList() << u"en"_s << u"es"_s << QStringList();
}

void ApertiumModesTest::routes() {
    QFETCH(const QStringList, installed);
    QFETCH(const QString, source);
    QFETCH(const QString, target);
    QFETCH(const QStringList, route);
    const QTemporaryDir folder;
    for (const QString &pair : installed)
        QVERIFY(QFile(folder.filePath(pair + u".mode"_s)).open(QIODevice::WriteOnly));
    QStringList files;
    for (const QString &pair : route)
        files.append(folder.filePath(pair + u".mode"_s));
    QStringList found;
    for (const ApertiumMode &mode : ApertiumModes(folder.path()).route(source, target))
        found.append(mode.file);
    QCOMPARE(found, files);
}

void ApertiumModesTest::aFolderThatDoesNotExistHasNoPairs() {
    const QTemporaryDir folder;
    QCOMPARE(ApertiumModes(folder.filePath(u"none"_s)).route(u"en"_s, u"es"_s), QList<ApertiumMode>());
}

QTEST_APPLESS_MAIN(ApertiumModesTest)
#include "ApertiumModesTest.moc"
