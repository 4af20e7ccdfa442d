#include "contract/TranslatorsContract.h"
#include "fakes/FakePlatform.h"
#include "platform/linux/translation/OnDeviceTranslators.h"
#include "platform/linux/translation/apertium/ApertiumEngine.h"
#include "support/DownloadedTranslation.h"
#include "support/ThrowAwayAuthority.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace quillora::test;
using namespace quillora::platform;

namespace {

class FakeHarness : public TranslatorsHarness {
public:
    Translators &translators() override { return m_platform.translation; }
    void turn() override { m_platform.run(); }
    QString text() const override { return u"house"_s; }
    QString translation() const override { return u"<house>"_s; }
    QString withdraw() override {
        const QString reason = u"No on-device translation from English to Spanish is installed."_s;
        m_platform.translation.preparationError = reason;
        return reason;
    }

private:
    FakePlatform m_platform;
};

class ApertiumPlatform : public FakePlatform {
public:
    Translators &translators() override { return *m_translators; }

    void uninstallAllPairs() {
        m_translators = withEngine(std::make_unique<ApertiumEngine>(queue, m_empty.path()));
    }

private:
    static std::unique_ptr<Translators> withEngine(std::unique_ptr<OnDeviceEngine> engine) {
        std::vector<std::unique_ptr<OnDeviceEngine>> engines;
        engines.push_back(std::move(engine));
        return std::make_unique<OnDeviceTranslators>(std::move(engines));
    }

    QTemporaryDir m_empty;
    std::unique_ptr<Translators> m_translators = withEngine(std::make_unique<ApertiumEngine>(queue));
};

class OnDeviceTranslatorsHarness : public TranslatorsHarness {
public:
    Translators &translators() override { return m_platform.translators(); }
    void turn() override { m_platform.run(); }
    QString text() const override { return u"The house is big."_s; }
    QString translation() const override { return u"La casa es grande."_s; }
    QString withdraw() override {
        m_platform.uninstallAllPairs();
        return u"There is no on-device translation from English to Spanish. Choose OpenAI Natural as the engine."_s;
    }

private:
    ApertiumPlatform m_platform;
};

/// Nothing is installed at first, and somebody agrees to every download.
class NeuralTranslatorsHarness : public TranslatorsHarness {
public:
    explicit NeuralTranslatorsHarness(const QSslConfiguration &identity) : m_platform(identity) {}

    Translators &translators() override { return m_platform.translators(); }
    void turn() override {
        m_platform.translation.server.serve();
        m_platform.run();
    }
    QString text() const override { return u"house, house."_s; }
    QString translation() const override { return u"casa, casa."_s; }
    QString withdraw() override {
        m_platform.translation.seatPerson(DownloadAnswer::notNow);
        return u"English to Spanish needs a download that was not agreed to. Choose the languages again to "
               u"be asked again, or open Models in the tray menu."_s;
    }

private:
    class OnDownloads : public FakePlatform {
    public:
        explicit OnDownloads(const QSslConfiguration &identity) : translation(identity) {
            translation.server.delivery = Delivery::everything;
            translation.seatPerson(DownloadAnswer::download);
        }
        Translators &translators() override { return *translation.translators; }

        DownloadedTranslation translation;
    };

    OnDownloads m_platform;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    const test::ThrowAwayAuthority authority;
    authority.trustHere();
    const auto identity = authority.issue(u"127.0.0.1"_s);
    test::TranslatorsContract contract(
        {{"fake", [] { return std::make_unique<FakeHarness>(); }},
         {"OnDeviceTranslators", [] { return std::make_unique<OnDeviceTranslatorsHarness>(); }},
         {"NeuralEngine", [&] { return std::make_unique<NeuralTranslatorsHarness>(identity); }}});
    return QTest::qExec(&contract, argc, argv);
}
