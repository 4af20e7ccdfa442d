#include "contract/TranslationProviderContract.h"
#include "fakes/FakePlatform.h"
#include "platform/linux/translation/ApertiumTranslationProvider.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTest>

using namespace quillora::test;

namespace {

class ApertiumPlatform : public FakePlatform {
public:
    ApertiumPlatform()
        : m_provider(std::make_unique<quillora::platform::ApertiumTranslationProvider>(queue)) {}

    quillora::platform::TranslationProvider &translationProvider() override { return *m_provider; }

    void uninstallAllPairs() {
        m_provider = std::make_unique<quillora::platform::ApertiumTranslationProvider>(queue, m_empty.path());
    }

private:
    QTemporaryDir m_empty;
    std::unique_ptr<quillora::platform::TranslationProvider> m_provider;
};

class ApertiumTranslationProviderHarness : public TranslationProviderHarness {
public:
    quillora::platform::TranslationProvider &provider() override { return m_platform.translationProvider(); }
    void turn() override { m_platform.run(); }
    QString text() const override { return u"The house is big."_qs; }
    QString translation() const override { return u"La casa es grande."_qs; }
    QString withdraw() override {
        m_platform.uninstallAllPairs();
        return u"No on-device translation from English to Spanish is installed."_qs;
    }

private:
    ApertiumPlatform m_platform;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    TranslationProviderContract contract(
        [] { return std::make_unique<ApertiumTranslationProviderHarness>(); });
    return QTest::qExec(&contract, argc, argv);
}
