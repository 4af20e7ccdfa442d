#include "contract/TranslatorsContract.h"
#include "fakes/FakePlatform.h"

#include <QCoreApplication>
#include <QTest>

using namespace quillora::test;

namespace {

class FakeTranslatorsHarness : public TranslatorsHarness {
public:
    quillora::platform::Translators &translators() override { return m_platform.translation; }
    void turn() override { m_platform.run(); }
    QString text() const override { return u"house"_qs; }
    QString translation() const override { return u"<house>"_qs; }
    QString withdraw() override {
        const QString reason = u"No on-device translation from English to Spanish is installed."_qs;
        m_platform.translation.preparationError = reason;
        return reason;
    }

private:
    FakePlatform m_platform;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    TranslatorsContract contract([] { return std::make_unique<FakeTranslatorsHarness>(); });
    return QTest::qExec(&contract, argc, argv);
}
