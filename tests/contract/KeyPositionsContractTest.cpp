#include "contract/KeyPositionsContract.h"
#include "fakes/FakeKeyPositions.h"
#include "platform/linux/x11/X11KeyPositions.h"

#include <QCoreApplication>
#include <QTest>

#include <linux/input-event-codes.h>
#include <map>

using namespace quillora;
using test::FakeKeyPositions;

namespace {

class FakeHarness : public test::KeyPositionsHarness {
public:
    platform::KeyPositions &positions() override { return m_positions; }

    quint32 scanCode(quint32 number) const override { return FakeKeyPositions::scanCode(number); }
    quint32 foreignScanCode() const override { return FakeKeyPositions::scanCode(128); }

private:
    FakeKeyPositions m_positions;
};

class X11KeyPositionsHarness : public test::KeyPositionsHarness {
public:
    platform::KeyPositions &positions() override { return m_positions; }

    quint32 scanCode(quint32 number) const override {
        static const std::map<quint32, quint32> kernelCodes{
            {0, KEY_A},      {6, KEY_Z},      {18, KEY_1},  {49, KEY_SPACE},   {53, KEY_ESC},
            {36, KEY_ENTER}, {123, KEY_LEFT}, {96, KEY_F5}, {76, KEY_KPENTER}, {56, KEY_LEFTSHIFT}};
        return kernelCodes.at(number) + serverOffset;
    }
    quint32 foreignScanCode() const override { return KEY_PAUSE + serverOffset; }

private:
    static constexpr quint32 serverOffset = 8;

    platform::X11KeyPositions m_positions;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::KeyPositionsContract contract(
        {{"fake", [] { return std::make_unique<FakeHarness>(); }},
         {"X11KeyPositions", [] { return std::make_unique<X11KeyPositionsHarness>(); }}});
    return QTest::qExec(&contract, argc, argv);
}
