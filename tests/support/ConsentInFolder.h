#pragma once

#include "contract/ModelConsentContract.h"
#include "fakes/FakeMainQueue.h"
#include "platform/linux/routing/RememberedConsent.h"

#include <QTemporaryDir>

#include <optional>

namespace quillora::test {

/// A consent whose record lies in a folder of its own, and which may be started again with it.
class ConsentInFolder : public ModelConsentHarness {
public:
    platform::ModelConsent &consent() override { return *m_consent; }
    void turn() override { m_queue.run(); }

    void restart() { m_consent.emplace(m_queue, path()); }
    QString path() const { return m_folder.filePath(u"state/Quillora/declined.json"_s); }

private:
    QTemporaryDir m_folder;
    FakeMainQueue m_queue;
    std::optional<platform::RememberedConsent> m_consent{std::in_place, m_queue, path()};
};

} // namespace quillora::test
