#pragma once

#include "platform/Pasteboard.h"
#include "platform/linux/x11/X11SelectionContents.h"

#include <QDeadlineTimer>

#include <condition_variable>
#include <mutex>

namespace quillora::platform {

/// What stands on a selection, as far as its owner has given it. What is still to come joins it as it
/// arrives, wherever it is on offer by then.
///
/// The contents belong to the thread that serves selections; how far it has come is for any thread.
class X11Collection final : public SavedPasteboard {
public:
    enum class Progress {
        asked,   ///< the owner has been asked for something
        listed,  ///< and for everything that it says it has
        complete ///< nothing more is going to come
    };

    X11Collection() = default;
    /// What is there already.
    explicit X11Collection(X11SelectionContents contents)
        : m_contents(std::move(contents)), m_progress(Progress::complete),
          m_found(m_contents.values.empty() ? Found::empty : Found::values) {}

    /// That of a selection that cannot be looked at.
    static std::shared_ptr<X11Collection> outOfReach();

    Found found() const override;

    /// Waits until it has come this far, and says whether it has.
    bool awaitProgress(Progress progress, const QDeadlineTimer &deadline) const;

    const X11SelectionContents &contents() const { return m_contents; }
    bool isComplete() const;
    void advance(X11SelectionContents contents, Progress progress);

private:
    X11SelectionContents m_contents;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_hasAdvanced;
    Progress m_progress = Progress::asked; ///< guarded by m_mutex
    Found m_found = Found::unreadable;     ///< guarded by m_mutex
};

} // namespace quillora::platform
