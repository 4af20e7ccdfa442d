#include "platform/linux/routing/RememberedConsent.h"

#include "platform/linux/StateFile.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

QString RememberedConsent::standardFile() { return stateFile(u"declined-downloads.json"_s); }

RememberedConsent::RememberedConsent(MainQueue &mainQueue, QString file)
    : m_mainQueue(mainQueue), m_declined(std::move(file)) {}

void RememberedConsent::setPresenter(Presenter presenter) {
    m_presenter = std::move(presenter);
    if (m_presenter)
        return showFirst();
    for (const auto &question : std::exchange(m_open, {}))
        reply(*question, DownloadAnswer::notNow);
}

void RememberedConsent::ask(const DownloadQuestion &question, Reply reply) {
    const QList<ModelTask> &tasks = question.tasks;
    const auto same = std::find_if(m_open.begin(), m_open.end(), [&tasks](const auto &open) {
        return std::all_of(tasks.begin(), tasks.end(),
                           [&](const ModelTask &task) { return open->question.tasks.contains(task); });
    });
    if (same != m_open.end()) {
        (*same)->replies.push_back(std::move(reply));
        return;
    }
    auto asked = std::make_shared<OpenQuestion>(OpenQuestion{question, {std::move(reply)}});
    if (!m_presenter || isDeclined(*asked))
        return this->reply(*asked, DownloadAnswer::notNow);
    m_open.push_back(std::move(asked));
    if (m_open.size() == 1)
        showFirst();
}

void RememberedConsent::forget(const ModelTask &task) { m_declined.set(task, {}); }

bool RememberedConsent::isDeclined(const OpenQuestion &question) const {
    const QList<ModelTask> &tasks = question.question.tasks;
    return std::any_of(tasks.begin(), tasks.end(),
                       [this](const ModelTask &task) { return !m_declined.text(task).isEmpty(); });
}

/// What was declined while a question waited is not asked again.
void RememberedConsent::showFirst() {
    for (; !m_open.empty() && isDeclined(*m_open.front()); m_open.pop_front())
        reply(*m_open.front(), DownloadAnswer::notNow);
    if (m_open.empty())
        return;
    const auto first = m_open.front();
    const Presenter presenter = m_presenter; // a copy: it may be replaced by what it calls
    presenter(first->question, [this, weak = std::weak_ptr(first)](DownloadAnswer answer) {
        if (const auto question = weak.lock())
            this->answer(question, answer);
    });
}

void RememberedConsent::answer(const std::shared_ptr<OpenQuestion> &question, DownloadAnswer answer) {
    if (m_open.empty() || m_open.front() != question)
        return;
    m_open.pop_front();
    if (answer == DownloadAnswer::notNow) {
        for (const ModelTask &task : question->question.tasks)
            m_declined.set(task, u"not now"_s);
    }
    reply(*question, answer);
    showFirst();
}

void RememberedConsent::reply(const OpenQuestion &question, DownloadAnswer answer) {
    for (const Reply &reply : question.replies)
        m_mainQueue.async([reply, answer] { reply(answer); });
}

} // namespace quillora::platform
