#include "contract/FirstStartContract.h"
#include "fakes/FakeFirstStart.h"
#include "platform/linux/settings/StateFirstStart.h"
#include "support/Files.h"
#include "support/TestSuites.h"

#include <QDir>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace quillora::test;
using platform::StateFirstStart;

namespace {

class FakeHarness : public FirstStartHarness {
public:
    platform::FirstStart &firstStart() override { return m_firstStart; }
    void startAgain() override {}

private:
    FakeFirstStart m_firstStart;
};

class StateHarness : public FirstStartHarness {
public:
    platform::FirstStart &firstStart() override { return *m_firstStart; }
    void startAgain() override { m_firstStart = std::make_unique<StateFirstStart>(path()); }

private:
    QString path() const { return m_folder.filePath(u"state/Quillora/first-start-is-over"_s); }

    QTemporaryDir m_folder;
    std::unique_ptr<StateFirstStart> m_firstStart = std::make_unique<StateFirstStart>(path());
};

/// What only this one is asked.
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
        qputenv("XDG_STATE_HOME", "/somewhere/state");
        QCOMPARE(StateFirstStart::standardFile(), u"/somewhere/state/Quillora/first-start-is-over"_s);
        qputenv("XDG_STATE_HOME", "not/absolute");
        QCOMPARE(StateFirstStart::standardFile(),
                 QDir::homePath() + u"/.local/state/Quillora/first-start-is-over"_s);
        qunsetenv("XDG_STATE_HOME");
    }
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    FirstStartContract contract({{"fake", [] { return std::make_unique<FakeHarness>(); }},
                                 {"StateFirstStart", [] { return std::make_unique<StateHarness>(); }}});
    StateFirstStartTest own;
    return TestSuites({&contract, &own}).run(argc, argv);
}
#include "FirstStartContractTest.moc"
