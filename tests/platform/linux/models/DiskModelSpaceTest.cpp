#include "platform/linux/models/DiskModelSpace.h"

#include "support/Files.h"

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::DiskModelSpace;

class DiskModelSpaceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void whatModelsTakeIsTheSumOfTheirFiles() {
        QTemporaryDir folder;
        test::writeFile(folder.filePath(u"kroko-de/1/files/model"_s), QByteArray(1000, 'x'));
        test::writeFile(folder.filePath(u"kroko-de/1/manifest.json"_s), QByteArray(200, 'x'));
        QCOMPARE(DiskModelSpace(folder.path()).used(), 1200);
    }

    void whatHasBeenDownloadedCountsToo() {
        QTemporaryDir folder;
        test::writeFile(folder.filePath(u"kroko-de/.1.parts/model"_s), QByteArray(300, 'x'));
        QCOMPARE(DiskModelSpace(folder.path()).used(), 300);
    }

    void aFolderThatIsNotThereTakesNothingAndHasRoom() {
        QTemporaryDir folder;
        const DiskModelSpace space(folder.filePath(u"to/be/made"_s));
        QCOMPARE(space.used(), 0);
        QVERIFY(space.free().value_or(0) > 0);
    }
};

QTEST_GUILESS_MAIN(DiskModelSpaceTest)
#include "DiskModelSpaceTest.moc"
