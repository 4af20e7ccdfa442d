#include "contract/WebPagesContract.h"
#include "fakes/FakeWebPages.h"
#include "platform/linux/webpages/DesktopWebPages.h"
#include "support/Files.h"
#include "support/VirtualDisplay.h"

#include <QGuiApplication>
#include <QTemporaryDir>

#include <optional>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace quillora::test;

namespace {

class FakeHarness : public WebPagesHarness {
public:
    platform::WebPages &webPages() override { return m_webPages; }
    QList<QUrl> shown() const override { return m_webPages.shown; }
    void removeBrowser() override { m_webPages.hasBrowser = false; }

private:
    FakeWebPages m_webPages;
};

/// In the folder, which is all that programs are looked for in, xdg-open writes down what it is given.
class DesktopHarness : public WebPagesHarness {
public:
    explicit DesktopHarness(const QString &folder)
        : m_program(folder + u"/xdg-open"_s), m_record(folder + u"/shown"_s) {
        writeFile(m_program, "#!/bin/sh\nprintf '%s\\n' \"$*\" >> '" + QFile::encodeName(m_record) + "'\n");
        QFile::setPermissions(m_program, QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    }
    ~DesktopHarness() override {
        QFile::remove(m_program);
        QFile::remove(m_record);
    }

    platform::WebPages &webPages() override { return m_webPages; }
    QList<QUrl> shown() const override {
        QList<QUrl> addresses;
        if (QFile::exists(m_record)) {
            QList<QByteArray> lines = readFile(m_record).split('\n');
            lines.removeLast(); // what is not whole yet
            for (const QByteArray &line : lines)
                addresses += QUrl::fromEncoded(line, QUrl::StrictMode);
        }
        return addresses;
    }
    void removeBrowser() override { QFile::remove(m_program); }

private:
    QString m_program;
    QString m_record;
    platform::DesktopWebPages m_webPages;
};

} // namespace

int main(int argc, char **argv) {
    std::optional<VirtualDisplay> display;
    {
        QCoreApplication starting(argc, argv);
        display.emplace();
    }
    const QTemporaryDir programs;
    qputenv("DISPLAY", display->name());
    qputenv("QT_QPA_PLATFORM", "xcb");
    qputenv("PATH", QFile::encodeName(programs.path()));
    qunsetenv("DEFAULT_BROWSER");
    qunsetenv("BROWSER");
    QGuiApplication application(argc, argv);
    WebPagesContract contract(
        {{"fake", [] { return std::make_unique<FakeHarness>(); }},
         {"DesktopWebPages", [&] { return std::make_unique<DesktopHarness>(programs.path()); }}});
    return QTest::qExec(&contract, argc, argv);
}
