#include "contract/UserDefaultsContract.h"
#include "fakes/FakeUserDefaults.h"

#include <QCoreApplication>
#include <QTest>

namespace {

class FakeUserDefaultsHarness : public quillora::test::UserDefaultsHarness {
public:
    quillora::platform::UserDefaults &defaults() override { return m_defaults; }
    void restart() override {}
    void makeUnwritable() override { m_defaults.isUnwritable = true; }

private:
    quillora::test::CallLog m_log;
    quillora::test::FakeUserDefaults m_defaults{m_log};
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    quillora::test::UserDefaultsContract contract([] { return std::make_unique<FakeUserDefaultsHarness>(); });
    return QTest::qExec(&contract, argc, argv);
}
