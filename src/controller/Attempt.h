#pragma once

#include "platform/LocalizedError.h"

#include <QCoroTask>
#include <QString>

#include <optional>
#include <utility>
#include <variant>

namespace quillora {

/// How an operation ended: with its result, or with the sentence that tells the user why not.
template <typename T = std::monostate>
struct Attempt {
    std::optional<T> result;
    QString failure;

    bool hasSucceeded() const { return result.has_value(); }
};

/// Awaits the operation and catches whatever it throws.
template <typename T>
QCoro::Task<Attempt<T>> attempt(QCoro::Task<T> operation) {
    Attempt<T> outcome;
    try {
        outcome.result = co_await operation;
    } catch (const std::exception &error) {
        outcome.failure = localizedDescription(error);
    }
    co_return outcome;
}

inline QCoro::Task<Attempt<>> attempt(QCoro::Task<> operation) {
    Attempt<> outcome;
    try {
        co_await operation;
        outcome.result.emplace();
    } catch (const std::exception &error) {
        outcome.failure = localizedDescription(error);
    }
    co_return outcome;
}

} // namespace quillora
