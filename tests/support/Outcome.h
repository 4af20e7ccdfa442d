#pragma once

#include "platform/LocalizedError.h"

#include <QCoroTask>

#include <memory>
#include <optional>
#include <stdexcept>

namespace quillora::test {

/// What became of a task that a test started and does not wait for.
template <typename T = void>
class Outcome {
    using Stored = std::conditional_t<std::is_void_v<T>, bool, T>;

public:
    static std::shared_ptr<Outcome> of(QCoro::Task<T> task) {
        auto outcome = std::make_shared<Outcome>();
        watch(std::move(task), outcome);
        return outcome;
    }

    bool isDone() const { return m_value || m_error; }

    /// The result; throws if there is none.
    const Stored &value() const {
        if (!m_value)
            throw std::logic_error(m_error ? m_error->toStdString() : "the task is not done");
        return *m_value;
    }

    /// The sentence of the error that it ended with, null if with none; throws before it has ended.
    QString error() const {
        if (!isDone())
            throw std::logic_error("the task is not done");
        return m_error.value_or(QString());
    }

private:
    static QCoro::Task<> watch(QCoro::Task<T> task, std::shared_ptr<Outcome> outcome) {
        try {
            if constexpr (std::is_void_v<T>) {
                co_await task;
                outcome->m_value = true;
            } else {
                outcome->m_value = co_await task;
            }
        } catch (const std::exception &error) {
            outcome->m_error = localizedDescription(error);
        }
    }

    std::optional<Stored> m_value;
    std::optional<QString> m_error;
};

} // namespace quillora::test
