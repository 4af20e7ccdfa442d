#include "contract/KeystrokesContract.h"
#include "fakes/FakeKeystrokes.h"

using namespace quillora;

namespace {

class FakeHarness : public test::KeystrokesHarness {
public:
    platform::Keystrokes &keystrokes() override { return m_keystrokes; }
    int pasteCount() override { return m_keystrokes.pasteCount(); }
    int keysDown() override { return 0; }
    void withdrawTrust() override { m_keystrokes.setTrust(false); }
    void settle() override {}

private:
    test::CallLog m_log;
    test::FakeKeystrokes m_keystrokes{m_log};
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::KeystrokesContract contract([] { return std::make_unique<FakeHarness>(); });
    return QTest::qExec(&contract, argc, argv);
}
