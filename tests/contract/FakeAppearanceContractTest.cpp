#include "contract/AppearanceContract.h"
#include "fakes/FakeAppearance.h"

#include <QCoreApplication>
#include <QTest>

namespace {

class FakeAppearanceHarness : public quillora::test::AppearanceHarness {
public:
    quillora::platform::Appearance &appearance() override { return m_appearance; }
    void prefer(const quillora::platform::Appearance::Preferences &preferences) override {
        m_appearance.prefer(preferences);
    }

private:
    quillora::test::FakeAppearance m_appearance;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    quillora::test::AppearanceContract contract([] { return std::make_unique<FakeAppearanceHarness>(); });
    return QTest::qExec(&contract, argc, argv);
}
