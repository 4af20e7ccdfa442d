#include "contract/ModelSpaceContract.h"
#include "fakes/FakeModelSpace.h"
#include "platform/linux/models/DiskModelSpace.h"
#include "support/Files.h"

#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;
using namespace quillora;

namespace {

class FakeHarness : public test::ModelSpaceHarness {
public:
    platform::ModelSpace &space() override { return m_space; }
    void install(qint64 bytes) override { m_space.usedBytes += bytes; }
    void deleteModels() override { m_space.usedBytes = 0; }
    void download(qint64 bytes) override { m_space.usedBytes += bytes; }

private:
    test::FakeModelSpace m_space;
};

/// Below a folder that is made for the first of them.
class DiskHarness : public test::ModelSpaceHarness {
public:
    platform::ModelSpace &space() override { return m_space; }

    /// A file of it, and the list of its files.
    void install(qint64 bytes) override {
        const QString model = folder() + u"/kroko-de/%1"_s.arg(++m_count);
        test::writeFile(model + u"/files/model"_s, QByteArray(bytes - manifestBytes, 'x'));
        test::writeFile(model + u"/manifest.json"_s, QByteArray(manifestBytes, 'x'));
    }
    void deleteModels() override { QDir(folder()).removeRecursively(); }
    void download(qint64 bytes) override {
        test::writeFile(folder() + u"/kroko-de/.1.parts/model"_s, QByteArray(bytes, 'x'));
    }

private:
    static constexpr qint64 manifestBytes = 100;

    QString folder() const { return m_home.filePath(u"to/be/made"_s); }

    QTemporaryDir m_home;
    platform::DiskModelSpace m_space{folder()};
    int m_count = 0;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::ModelSpaceContract contract({{"fake", [] { return std::make_unique<FakeHarness>(); }},
                                       {"DiskModelSpace", [] { return std::make_unique<DiskHarness>(); }}});
    return QTest::qExec(&contract, argc, argv);
}
