#include "contract/WorkspaceContract.h"
#include "fakes/FakeWorkspace.h"
#include "platform/linux/x11/X11Workspace.h"
#include "support/TestWindow.h"
#include "support/VirtualDisplay.h"

#include <QCoreApplication>
#include <QTest>

#include <unistd.h>

using namespace quillora;
using test::TestWindow;

namespace {

class FakeHarness : public test::WorkspaceHarness {
public:
    platform::Workspace &workspace() override { return m_workspace; }
    size_t launch(const std::optional<QString> &identifier) override {
        m_programs.push_back(m_workspace.launch(QString::number(m_programs.size()), identifier));
        bringToFront(m_programs.size() - 1);
        return m_programs.size() - 1;
    }
    size_t launchOwn() override { return launch(m_workspace.ownIdentifier); }
    void bringToFront(size_t program) override { m_workspace.bringToFront(m_programs[program]); }
    void end(size_t program) override { m_programs[program]->hasEnded = true; }
    bool isInFront(size_t program) const override {
        const auto front = std::static_pointer_cast<test::FakeRunningApplication>(m_workspace.frontmost);
        return front && front->name() == m_programs[program]->name();
    }

private:
    test::CallLog m_log;
    test::FakeWorkspace m_workspace{m_log};
    std::vector<std::shared_ptr<test::FakeRunningApplication>> m_programs;
};

class X11Harness : public test::WorkspaceHarness {
public:
    platform::Workspace &workspace() override { return m_workspace; }
    size_t launch(const std::optional<QString> &identifier) override {
        const auto processId = static_cast<uint32_t>(1000 + m_programs.size());
        return show({identifier.value_or(QString()).toUtf8(), processId});
    }
    size_t launchOwn() override { return show({"Quillora", static_cast<uint32_t>(::getpid())}); }
    void bringToFront(size_t program) override {
        m_programs[program]->activate();
        waitForFront(program);
    }
    void end(size_t program) override { m_programs[program].reset(); }
    bool isInFront(size_t program) const override { return m_programs[program]->isActive(); }

private:
    size_t show(const TestWindow::Properties &properties) {
        m_programs.push_back(std::make_unique<TestWindow>(m_display.name(), properties));
        m_programs.back()->show();
        waitForFront(m_programs.size() - 1);
        return m_programs.size() - 1;
    }
    void waitForFront(size_t program) {
        test::ChildProcess::waitUntil([=, this] { return isInFront(program); });
        m_connection.sync();
        QCoreApplication::processEvents();
    }

    const test::VirtualDisplay m_display{test::VirtualDisplay::WindowManager::openbox};
    platform::X11Connection m_connection{m_display.name()};
    platform::X11Events m_events{m_connection};
    platform::X11Workspace m_workspace{m_events};
    std::vector<std::unique_ptr<TestWindow>> m_programs;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::WorkspaceContract contract({{"fake", [] { return std::make_unique<FakeHarness>(); }},
                                      {"X11Workspace", [] { return std::make_unique<X11Harness>(); }}});
    return QTest::qExec(&contract, argc, argv);
}
