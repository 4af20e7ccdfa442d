#pragma once

#include "platform/LocalizedError.h"
#include "platform/MainQueue.h"

#include <coroutine>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

namespace quillora::platform {

/// Thrown into a waiter whose continuation was dropped without being resumed.
class ContinuationDropped : public LocalizedError {
public:
    ContinuationDropped() : LocalizedError(QStringLiteral("The operation was abandoned.")) {}
};

/// Suspends one coroutine of the main thread until somebody resumes it, exactly once.
///
/// Copies refer to the same waiter. Resuming is posted to the queue, never run inside the call that resumes:
/// whoever resumes may still tidy up, and a waiter that calls again at once finds everything tidy. A waiter
/// whose last continuation is dropped gets ContinuationDropped, so that no coroutine is left hanging for
/// ever.
template <typename T>
class Continuation {
public:
    /// The waiter goes on from `queue`, which must outlive every copy of the continuation.
    explicit Continuation(MainQueue &queue) : m_state(std::make_shared<State>(queue)) {}

    /// Throws std::logic_error if the waiter has been resumed already, which ends the program unless caught:
    /// two outcomes of one thing are a fault that no later step can make good.
    void resume(T value) const {
        requireWaiting();
        m_state->slot->value = std::move(value);
        Slot::wake(m_state->slot);
    }

    /// The same, with an error to be thrown into the waiter.
    void fail(std::exception_ptr error) const {
        requireWaiting();
        m_state->slot->error = std::move(error);
        Slot::wake(m_state->slot);
    }

    /// What the coroutine awaits, once. It does not count as a continuation: the waiter cannot keep itself
    /// waiting.
    auto wait() const {
        struct Awaiter {
            std::shared_ptr<Slot> slot;

            bool await_ready() const noexcept { return false; }
            void await_suspend(std::coroutine_handle<> waiter) const {
                slot->waiter = waiter;
                if (slot->isResumed)
                    Slot::post(slot);
            }
            T await_resume() const {
                if (slot->error)
                    std::rethrow_exception(slot->error);
                return std::move(*slot->value);
            }
        };
        return Awaiter{m_state->slot};
    }

private:
    /// What the waiter keeps: the outcome, once there is one.
    struct Slot {
        explicit Slot(MainQueue &mainQueue) : queue(mainQueue) {}

        MainQueue &queue;
        std::optional<T> value;
        std::exception_ptr error;
        std::coroutine_handle<> waiter;
        bool isResumed = false;

        static void wake(const std::shared_ptr<Slot> &slot) {
            slot->isResumed = true;
            if (slot->waiter)
                post(slot);
        }

        static void post(const std::shared_ptr<Slot> &slot) {
            slot->queue.async([slot] { std::exchange(slot->waiter, nullptr).resume(); });
        }
    };

    /// What those who may resume keep; the last of them to go wakes the waiter.
    struct State {
        std::shared_ptr<Slot> slot;

        explicit State(MainQueue &queue) : slot(std::make_shared<Slot>(queue)) {}
        State(const State &) = delete;
        State &operator=(const State &) = delete;
        ~State() {
            if (slot->isResumed)
                return;
            slot->error = std::make_exception_ptr(ContinuationDropped());
            Slot::wake(slot);
        }
    };

    void requireWaiting() const {
        if (m_state->slot->isResumed)
            throw std::logic_error("a continuation was resumed twice");
    }

    std::shared_ptr<State> m_state;
};

} // namespace quillora::platform
