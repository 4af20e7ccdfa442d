#include "platform/linux/x11/X11Collection.h"

#include <utility>

namespace quillora::platform {

std::shared_ptr<X11Collection> X11Collection::outOfReach() {
    auto collection = std::make_shared<X11Collection>(X11SelectionContents());
    collection->m_found = Found::noAccess;
    return collection;
}

SavedPasteboard::Found X11Collection::found() const {
    const std::lock_guard lock(m_mutex);
    return m_found;
}

bool X11Collection::awaitProgress(Progress progress, const QDeadlineTimer &deadline) const {
    std::unique_lock lock(m_mutex);
    return m_hasAdvanced.wait_for(lock, deadline.remainingTimeAsDuration(),
                                  [&] { return m_progress >= progress; });
}

bool X11Collection::isComplete() const {
    const std::lock_guard lock(m_mutex);
    return m_progress == Progress::complete;
}

void X11Collection::advance(X11SelectionContents contents, Progress progress) {
    m_contents = std::move(contents);
    const std::lock_guard lock(m_mutex);
    m_progress = progress;
    m_found = m_contents.values.empty() ? Found::unreadable : Found::values;
    m_hasAdvanced.notify_all();
}

} // namespace quillora::platform
