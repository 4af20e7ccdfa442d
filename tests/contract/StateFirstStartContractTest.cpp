#include "contract/FirstStartContract.h"
#include "platform/linux/settings/StateFirstStart.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

using namespace quillora;
using namespace quillora::test;
using platform::StateFirstStart;

namespace {

class StateHarness : public FirstStartHarness {
public:
    platform::FirstStart &firstStart() override { return *m_firstStart; }
    void startAgain() override { m_firstStart = std::make_unique<StateFirstStart>(path()); }

private:
    QString path() const { return m_folder.filePath(u"state/Quillora/first-start-is-over"_qs); }

    QTemporaryDir m_folder;
    std::unique_ptr<StateFirstStart> m_firstStart = std::make_unique<StateFirstStart>(path());
};

} // namespace

class StateFirstStartContractTest : public FirstStartContract {
    Q_OBJECT

    std::unique_ptr<FirstStartHarness> makeHarness() override { return std::make_unique<StateHarness>(); }

private Q_SLOTS:
    void whereNothingCanBeWrittenItIsOverForThisRun() {
        QTemporaryDir folder;
        QFile obstacle(folder.filePath(u"Quillora"_qs)); // where the folder would have to be
        QVERIFY(obstacle.open(QIODevice::WriteOnly));
        StateFirstStart firstStart(folder.filePath(u"Quillora/first-start-is-over"_qs));
        firstStart.end();
        QVERIFY(firstStart.isOver());
    }

    void itLiesInTheXdgStateFolder() {
        qputenv("XDG_STATE_HOME", "/somewhere/state");
        QCOMPARE(StateFirstStart::standardFile(), u"/somewhere/state/Quillora/first-start-is-over"_qs);
        qputenv("XDG_STATE_HOME", "not/absolute");
        QCOMPARE(StateFirstStart::standardFile(),
                 QDir::homePath() + u"/.local/state/Quillora/first-start-is-over"_qs);
        qunsetenv("XDG_STATE_HOME");
    }
};

QTEST_GUILESS_MAIN(StateFirstStartContractTest)
#include "StateFirstStartContractTest.moc"
