#include "contract/KeystrokesContract.h"
#include "fakes/FakeKeystrokes.h"

#include <QSet>

using namespace quillora;

namespace {

class FakeHarness : public test::KeystrokesHarness {
public:
    FakeHarness() {
        m_keystrokes.onPost = [this](const platform::KeyEvent &event) {
            if (!event.isDown) {
                m_down.remove(event.keyCode);
                return;
            }
            m_down.insert(event.keyCode);
            m_pasteCount += event.keyCode == 9 && event.flags == platform::commandKeyFlag;
        };
    }

    platform::Keystrokes &keystrokes() override { return m_keystrokes; }
    int pasteCount() override { return m_pasteCount; }
    int keysDown() override { return static_cast<int>(m_down.size()); }
    void settle() override {}

private:
    test::CallLog m_log;
    test::FakeKeystrokes m_keystrokes{m_log};
    QSet<quint16> m_down;
    int m_pasteCount = 0;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::KeystrokesContract contract([] { return std::make_unique<FakeHarness>(); });
    return QTest::qExec(&contract, argc, argv);
}
