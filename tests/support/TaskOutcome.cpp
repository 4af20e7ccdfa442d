#include "support/TaskOutcome.h"

#include "platform/LocalizedError.h"

namespace quillora::test {

namespace {

QCoro::Task<> follow(QCoro::Task<QString> task, std::shared_ptr<TaskOutcome> outcome) {
    try {
        outcome->text = co_await task;
    } catch (const std::exception &error) {
        outcome->error = localizedDescription(error);
    }
    outcome->isDone = true;
}

} // namespace

std::shared_ptr<TaskOutcome> TaskOutcome::of(QCoro::Task<QString> task) {
    auto outcome = std::make_shared<TaskOutcome>();
    follow(std::move(task), outcome);
    return outcome;
}

} // namespace quillora::test
