#include "platform/linux/models/DiskModelSpace.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

using namespace quillora;
using platform::DiskModelSpace;

namespace {

void writeBytes(const QString &path, qsizetype count) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(count, 'x'));
}

} // namespace

class DiskModelSpaceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void whatModelsTakeIsTheSumOfTheirFiles() {
        QTemporaryDir folder;
        writeBytes(folder.filePath(u"kroko-de/1/files/model"_qs), 1000);
        writeBytes(folder.filePath(u"kroko-de/1/manifest.json"_qs), 200);
        QCOMPARE(DiskModelSpace(folder.path()).used(), 1200);
    }

    void whatHasBeenDownloadedCountsToo() {
        QTemporaryDir folder;
        writeBytes(folder.filePath(u"kroko-de/.1.parts/model"_qs), 300);
        QCOMPARE(DiskModelSpace(folder.path()).used(), 300);
    }

    void aFolderThatIsNotThereTakesNothingAndHasRoom() {
        QTemporaryDir folder;
        const DiskModelSpace space(folder.filePath(u"to/be/made"_qs));
        QCOMPARE(space.used(), 0);
        QVERIFY(space.free().value_or(0) > 0);
    }
};

QTEST_GUILESS_MAIN(DiskModelSpaceTest)
#include "DiskModelSpaceTest.moc"
