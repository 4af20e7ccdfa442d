#pragma once

#include "platform/LocalizedError.h"

#include <QCoroTask>
#include <QDebug>

#include <utility>

namespace quillora::platform {

/// Lets a started task run on by itself. Nobody awaits it, so what it throws would be lost: it is reported on
/// the standard error output.
inline void detach(QCoro::Task<> task) {
    [](QCoro::Task<> detached) -> QCoro::Task<> {
        try {
            co_await detached;
        } catch (const std::exception &error) {
            qCritical().noquote() << "Unhandled error:" << localizedDescription(error);
        }
    }(std::move(task));
}

} // namespace quillora::platform
