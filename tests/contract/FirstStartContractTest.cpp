#include "contract/FirstStartContract.h"
#include "fakes/FakeFirstStart.h"
#include "platform/linux/settings/StateFirstStart.h"

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

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    FirstStartContract contract({{"fake", [] { return std::make_unique<FakeHarness>(); }},
                                 {"StateFirstStart", [] { return std::make_unique<StateHarness>(); }}});
    return QTest::qExec(&contract, argc, argv);
}
