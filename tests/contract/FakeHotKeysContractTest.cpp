#include "contract/LateHotKeysContract.h"
#include "fakes/FakeHotKeys.h"

using namespace quillora;

namespace {

class FakeHarness : public test::LateHotKeysHarness {
public:
    platform::HotKeys &hotKeys() override { return m_hotKeys; }
    void keyDown(const AppHotKey &combination) override {
        m_hotKeys.keyDown(combination.keyCode, combination.modifiers);
    }
    void keyUp(const AppHotKey &combination) override { m_hotKeys.keyUp(combination.keyCode); }
    void takeElsewhere(const AppHotKey &combination) override {
        m_hotKeys.takenElsewhere.insert({combination.keyCode, combination.modifiers});
    }
    void giveBackElsewhere(const AppHotKey &combination) override {
        m_hotKeys.takenElsewhere.remove({combination.keyCode, combination.modifiers});
    }
    void decide(const AppHotKey &combination, const platform::HotKeyOutcome &outcome) override {
        m_hotKeys.decide({combination.keyCode, combination.modifiers}, outcome);
    }
    void settle() override { m_queue.run(); }

private:
    test::CallLog m_log;
    test::FakeMainQueue m_queue;
    test::FakeHotKeys m_hotKeys{m_log, m_queue};
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::LateHotKeysContract contract([] { return std::make_unique<FakeHarness>(); });
    return QTest::qExec(&contract, argc, argv);
}
