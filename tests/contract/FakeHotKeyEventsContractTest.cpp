#include "contract/HotKeyEventsContract.h"
#include "fakes/FakeHotKeyEvents.h"

using namespace quillora;

namespace {

class FakeHarness : public test::HotKeyEventsHarness {
public:
    platform::HotKeyEvents &events() override { return m_events; }
    void keyDown(const AppHotKey &combination) override {
        m_events.keyDown(combination.keyCode, combination.modifiers);
    }
    void keyUp(const AppHotKey &combination) override { m_events.keyUp(combination.keyCode); }
    void takeElsewhere(const AppHotKey &combination) override {
        m_events.takenElsewhere.insert({combination.keyCode, combination.modifiers});
    }
    void settle() override {}

private:
    test::CallLog m_log;
    test::FakeHotKeyEvents m_events{m_log};
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::HotKeyEventsContract contract([] { return std::make_unique<FakeHarness>(); });
    return QTest::qExec(&contract, argc, argv);
}
