#include "contract/KeyPositionsContract.h"
#include "fakes/FakeKeyPositions.h"

#include <QCoreApplication>
#include <QTest>

using namespace quillora;
using test::FakeKeyPositions;

namespace {

class FakeKeyPositionsHarness : public test::KeyPositionsHarness {
public:
    platform::KeyPositions &positions() override { return m_positions; }

    quint32 scanCode(quint32 number) const override { return FakeKeyPositions::scanCode(number); }
    quint32 foreignScanCode() const override { return FakeKeyPositions::scanCode(128); }

private:
    FakeKeyPositions m_positions;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::KeyPositionsContract contract([] { return std::make_unique<FakeKeyPositionsHarness>(); });
    return QTest::qExec(&contract, argc, argv);
}
