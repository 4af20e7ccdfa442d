#include "contract/WorkspaceContract.h"
#include "fakes/FakeWorkspace.h"

using namespace quillora;

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

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::WorkspaceContract contract([] { return std::make_unique<FakeHarness>(); });
    return QTest::qExec(&contract, argc, argv);
}
