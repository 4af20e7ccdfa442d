#include "platform/linux/settings/StateFirstStart.h"
#include "support/Files.h"
#include "support/SetVariable.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora::test;
using quillora::platform::StateFirstStart;

/// Where it is kept, and what happens if it cannot be.
class StateFirstStartTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void whereNothingCanBeWrittenItIsOverForThisRun() {
        QTemporaryDir folder;
        writeFile(folder.filePath(u"Quillora"_s), {}); // where the folder would have to be
        StateFirstStart firstStart(folder.filePath(u"Quillora/first-start-is-over"_s));
        firstStart.end();
        QVERIFY(firstStart.isOver());
    }

    void itLiesInTheXdgStateFolder() {
        const SetVariable state("XDG_STATE_HOME", {u"/somewhere/state"_s});
        QCOMPARE(StateFirstStart::standardFile(), u"/somewhere/state/Quillora/first-start-is-over"_s);
        const SetVariable relative("XDG_STATE_HOME", {u"not/absolute"_s});
        QCOMPARE(StateFirstStart::standardFile(),
                 QDir::homePath() + u"/.local/state/Quillora/first-start-is-over"_s);
    }
};

QTEST_GUILESS_MAIN(StateFirstStartTest)
#include "StateFirstStartTest.moc"
