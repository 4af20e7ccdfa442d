#include "contract/UserDefaultsContract.h"
#include "fakes/FakeUserDefaults.h"
#include "platform/linux/settings/SettingsUserDefaults.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <optional>

using namespace Qt::StringLiterals;
using namespace quillora;

namespace {

class FakeHarness : public test::UserDefaultsHarness {
public:
    platform::UserDefaults &defaults() override { return m_defaults; }
    void restart() override {}
    void makeUnwritable() override { m_defaults.isUnwritable = true; }

private:
    test::CallLog m_log;
    test::FakeUserDefaults m_defaults{m_log};
};

class SettingsUserDefaultsHarness : public test::UserDefaultsHarness {
public:
    SettingsUserDefaultsHarness() { begin(); }

    platform::UserDefaults &defaults() override { return *m_defaults; }

    /// The file moves, or the values would be served from what this process remembers of it.
    void restart() override {
        m_defaults.reset();
        const QString before = path();
        ++m_run;
        QFile::rename(before, path());
        begin();
    }

    /// No folder can be made below a file, whoever the user is.
    void makeUnwritable() override {
        QDir(folder()).removeRecursively();
        QFile inItsPlace(folder());
        if (!inItsPlace.open(QIODevice::WriteOnly))
            qFatal("the settings' folder cannot be replaced");
    }

private:
    QString folder() const { return m_folder.filePath(u"settings"_s); }
    QString path() const { return folder() + u"/Quillora-%1.conf"_s.arg(m_run); }
    void begin() { m_defaults.emplace(path()); }

    QTemporaryDir m_folder;
    int m_run = 0;
    std::optional<platform::SettingsUserDefaults> m_defaults;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::UserDefaultsContract contract(
        {{"fake", [] { return std::make_unique<FakeHarness>(); }},
         {"SettingsUserDefaults", [] { return std::make_unique<SettingsUserDefaultsHarness>(); }}});
    return QTest::qExec(&contract, argc, argv);
}
