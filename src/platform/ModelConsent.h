#pragma once

#include "platform/ModelRoutes.h"

#include <QStringList>

#include <functional>

namespace quillora::platform {

/// What a person is asked before anything is downloaded.
struct DownloadQuestion {
    QList<ModelTask> tasks; ///< what it is for; at least one
    QStringList models;     ///< what would be downloaded

    bool operator==(const DownloadQuestion &) const = default;
};

enum class DownloadAnswer { download, notNow };

/// The one place where downloads are asked for: whoever needs models asks here, and the shell shows the
/// question. Main thread only.
class ModelConsent {
public:
    using Reply = std::function<void(DownloadAnswer)>;
    using Presenter = std::function<void(const DownloadQuestion &question, const Reply &reply)>;

    virtual ~ModelConsent() = default;

    /// Who shows questions and replies to each, once, at any time. As long as there is none, every answer is
    /// "not now", which is not remembered.
    virtual void setPresenter(Presenter presenter) = 0;

    /// Asks, one question after the other. A question for tasks of one that is being asked already joins it;
    /// one for a task that was declined is declined again without being shown. The reply comes from the event
    /// loop.
    virtual void ask(const DownloadQuestion &question, Reply reply) = 0;

    /// The person chose the task's languages again: what was declined may be asked again.
    virtual void forget(const ModelTask &task) = 0;
};

} // namespace quillora::platform
