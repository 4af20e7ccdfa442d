#pragma once

#include "platform/LocalizedError.h"
#include "platform/MainQueue.h"
#include "platform/Platform.h"

#include <coroutine>
#include <exception>
#include <memory>
#include <optional>
#include <utility>

namespace quillora::platform {

/// Thrown into a waiter whose continuation was dropped without being resumed.
class ContinuationDropped : public LocalizedError {
public:
    ContinuationDropped() : LocalizedError(QStringLiteral("The operation was abandoned.")) {}
};

/// Suspends one coroutine of the main thread until somebody resumes it, exactly once.
///
/// Copies refer to the same waiter. Resuming is posted to the main queue, never run inside the call that
/// resumes: whoever resumes may still tidy up, and a waiter that calls again at once finds everything tidy. A
/// waiter whose last continuation is dropped gets ContinuationDropped, so that no coroutine is left hanging
/// for ever.
template <typename T>
class Continuation {
public:
    Continuation() : m_state(std::make_shared<State>()) {}

    /// A second resumption is a programming error.
    void resume(T value) const {
        Q_ASSERT(!m_state->slot->isResumed);
        m_state->slot->value = std::move(value);
        Slot::wake(m_state->slot);
    }

    void fail(std::exception_ptr error) const {
        Q_ASSERT(!m_state->slot->isResumed);
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
            auto run = [slot] { std::exchange(slot->waiter, nullptr).resume(); };
            if (auto *platform = Platform::currentOrNone())
                platform->mainQueue().async(std::move(run));
            else
                run();
        }
    };

    /// What those who may resume keep; the last of them to go wakes the waiter.
    struct State {
        std::shared_ptr<Slot> slot = std::make_shared<Slot>();

        State() = default;
        State(const State &) = delete;
        State &operator=(const State &) = delete;
        ~State() {
            if (slot->isResumed)
                return;
            slot->error = std::make_exception_ptr(ContinuationDropped());
            Slot::wake(slot);
        }
    };

    std::shared_ptr<State> m_state;
};

} // namespace quillora::platform
