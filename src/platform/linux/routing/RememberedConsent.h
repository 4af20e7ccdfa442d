#pragma once

#include "platform/MainQueue.h"
#include "platform/ModelConsent.h"
#include "platform/linux/routing/TaskRecord.h"

#include <deque>
#include <memory>
#include <vector>

namespace quillora::platform {

/// Asks before downloads, and remembers in a file what was declined.
class RememberedConsent : public ModelConsent {
public:
    /// In the XDG state folder.
    static QString standardFile();

    RememberedConsent(MainQueue &mainQueue, QString file);

    void setPresenter(Presenter presenter) override;
    void ask(const DownloadQuestion &question, Reply reply) override;
    void forget(const ModelTask &task) override;

private:
    struct OpenQuestion {
        DownloadQuestion question;
        std::vector<Reply> replies;
    };

    bool isDeclined(const OpenQuestion &question) const;
    void showFirst();
    void answer(const std::shared_ptr<OpenQuestion> &question, DownloadAnswer answer);
    void reply(const OpenQuestion &question, DownloadAnswer answer);

    MainQueue &m_mainQueue;
    TaskRecord m_declined;
    Presenter m_presenter;

    /// The first is shown. Replies refer to them weakly: one that comes after its question's end finds
    /// nothing, not even us.
    std::deque<std::shared_ptr<OpenQuestion>> m_open;
};

} // namespace quillora::platform
