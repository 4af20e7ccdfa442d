#include "contract/LoginItemContract.h"
#include "fakes/FakeLoginItem.h"
#include "platform/linux/autostart/AutostartEntry.h"
#include "support/Files.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::AutostartEntry;

namespace {

class FakeHarness : public test::LoginItemHarness {
public:
    platform::LoginItem &loginItem() override { return m_loginItem; }
    void switchOffElsewhere() override { m_loginItem.setEnabled(false); }
    void refuse() override { m_loginItem.isRefused = true; }

private:
    test::FakeLoginItem m_loginItem;
};

/// The user's configuration, in a folder of its own.
class FolderHarness : public test::LoginItemHarness {
public:
    FolderHarness() { qputenv("XDG_CONFIG_HOME", m_folder.path().toUtf8()); }

    platform::LoginItem &loginItem() override { return m_loginItem; }
    void switchOffElsewhere() override {
        QFile file(m_folder.filePath(u"autostart/org.quillora.Quillora.desktop"_s));
        QVERIFY(file.open(QIODevice::Append));
        file.write("Hidden=true\n");
    }
    void refuse() override { test::writeFile(m_folder.filePath(u"autostart"_s), {}); }

private:
    QTemporaryDir m_folder;
    AutostartEntry m_loginItem{u"/usr/bin/quillora"_s};
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::LoginItemContract contract({{"fake", [] { return std::make_unique<FakeHarness>(); }},
                                      {"AutostartEntry", [] { return std::make_unique<FolderHarness>(); }}});
    return QTest::qExec(&contract, argc, argv);
}
