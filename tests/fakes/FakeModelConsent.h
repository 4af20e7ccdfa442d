#pragma once

#include "fakes/CallLog.h"
#include "platform/MainQueue.h"
#include "platform/ModelConsent.h"

#include <algorithm>
#include <deque>
#include <memory>
#include <utility>
#include <vector>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// Consent that forgets with the test. Whoever has set a presenter shows the questions; a test without one
/// seats a person who answers each question at once.
class FakeModelConsent : public platform::ModelConsent {
public:
    FakeModelConsent(CallLog &log, platform::MainQueue &queue) : m_log(log), m_queue(queue) {}

    void setPresenter(Presenter presenter) override {
        m_presenter = std::move(presenter);
        if (!m_presenter) {
            for (const auto &question : std::exchange(m_open, {}))
                tell(*question, platform::DownloadAnswer::notNow);
        }
        present();
    }

    void ask(const platform::DownloadQuestion &question, Reply reply) override {
        QStringList inWords;
        for (const auto &task : question.tasks)
            inWords += task.languages.join(u'>');
        m_log.add(u"consent.ask "_s + inWords.join(u' '));
        const auto &tasks = question.tasks;
        const auto open = std::find_if(m_open.begin(), m_open.end(), [&tasks](const auto &other) {
            return std::all_of(tasks.begin(), tasks.end(),
                               [&](const auto &task) { return other->question.tasks.contains(task); });
        });
        if (open != m_open.end())
            return (*open)->replies.push_back(std::move(reply));
        const auto asked = std::make_shared<Open>(Open{question, {std::move(reply)}});
        if (!m_presenter || isDeclined(*asked))
            return tell(*asked, platform::DownloadAnswer::notNow);
        m_open.push_back(asked);
        if (m_open.size() == 1)
            present();
    }

    void forget(const platform::ModelTask &task) override {
        m_log.add(u"consent.forget "_s + task.languages.join(u'>'));
        declined.removeAll(task);
    }

    /// Somebody who answers every question in this way as soon as it is shown.
    void seatPerson(platform::DownloadAnswer answer) {
        setPresenter([this, answer](const platform::DownloadQuestion &question, const Reply &reply) {
            shown += question;
            reply(answer);
        });
    }

    QList<platform::DownloadQuestion> shown; ///< to that person
    QList<platform::ModelTask> declined;

private:
    struct Open {
        platform::DownloadQuestion question;
        std::vector<Reply> replies;
    };

    bool isDeclined(const Open &open) const {
        const auto &tasks = open.question.tasks;
        return std::any_of(tasks.begin(), tasks.end(),
                           [this](const auto &task) { return declined.contains(task); });
    }

    void present() {
        for (; !m_open.empty() && isDeclined(*m_open.front()); m_open.pop_front())
            tell(*m_open.front(), platform::DownloadAnswer::notNow);
        if (m_open.empty() || !m_presenter)
            return;
        const auto first = m_open.front();
        const Presenter presenter = m_presenter; // a copy: it may be replaced meanwhile
        presenter(first->question, [this, asked = std::weak_ptr(first)](platform::DownloadAnswer answer) {
            const auto question = asked.lock();
            if (!question || m_open.empty() || m_open.front() != question)
                return;
            m_open.pop_front();
            if (answer == platform::DownloadAnswer::notNow)
                declined += question->question.tasks;
            tell(*question, answer);
            present();
        });
    }

    void tell(const Open &question, platform::DownloadAnswer answer) {
        for (const Reply &reply : question.replies)
            m_queue.async([reply, answer] { reply(answer); });
    }

    CallLog &m_log;
    platform::MainQueue &m_queue;
    Presenter m_presenter;
    std::deque<std::shared_ptr<Open>> m_open; ///< the first is shown
};

} // namespace quillora::test
