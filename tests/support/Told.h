#pragma once

#include "platform/SpeechRecognizers.h"
#include "support/ChildProcess.h"

#include <QStringList>

#include <memory>
#include <mutex>
#include <vector>

namespace quillora::test {

/// What the handler of one recognition was told, on whatever thread.
class Told {
public:
    /// To be handed to the recognizer; it may outlive this.
    platform::RecognitionHandler handler() const {
        return [state = m_state](const auto &result, const auto &error) {
            const std::lock_guard lock(state->mutex);
            if (result)
                state->results.push_back(*result);
            if (error)
                state->errors << error->errorDescription();
        };
    }

    std::vector<platform::RecognitionResult> results() const {
        const std::lock_guard lock(m_state->mutex);
        return m_state->results;
    }
    QStringList texts() const {
        QStringList texts;
        for (const auto &result : results())
            texts << result.text;
        return texts;
    }
    QStringList errors() const {
        const std::lock_guard lock(m_state->mutex);
        return m_state->errors;
    }
    bool isFinal() const {
        const auto all = results();
        return !all.empty() && all.back().isFinal;
    }

    /// Waits for it; null where there was an error instead, or nothing for a minute.
    QString finalText() const {
        ChildProcess::waitUntil([this] { return isFinal() || !errors().isEmpty(); }, 60000);
        return isFinal() ? results().back().text : QString();
    }

private:
    struct State {
        std::mutex mutex;
        std::vector<platform::RecognitionResult> results;
        QStringList errors;
    };
    std::shared_ptr<State> m_state = std::make_shared<State>();
};

} // namespace quillora::test
