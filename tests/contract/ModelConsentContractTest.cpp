#include "contract/ModelConsentContract.h"
#include "fakes/FakePlatform.h"
#include "support/ConsentInFolder.h"

using namespace Qt::StringLiterals;
using namespace quillora;

namespace {

class FakeHarness : public test::ModelConsentHarness {
public:
    platform::ModelConsent &consent() override { return m_platform.consent; }
    void turn() override { m_platform.run(); }

private:
    test::FakePlatform m_platform;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::ModelConsentContract contract(
        {{"fake", [] { return std::make_unique<FakeHarness>(); }},
         {"RememberedConsent", [] { return std::make_unique<test::ConsentInFolder>(); }}});
    return QTest::qExec(&contract, argc, argv);
}
