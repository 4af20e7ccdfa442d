#pragma once

#include <QtGlobal>

#include <chrono>
#include <deque>

namespace quillora::platform {

/// How fast something comes, by what came in the last seconds.
class TransferSpeed {
public:
    static constexpr std::chrono::seconds memory{5};

    /// So many bytes have come until then. Fewer than before is a new beginning.
    void note(std::chrono::milliseconds time, qint64 bytes);

    qint64 bytesPerSecond() const;

private:
    struct Moment {
        std::chrono::milliseconds time;
        qint64 bytes;
    };
    std::deque<Moment> m_moments; ///< the first one is as old as it takes to look back so far
};

} // namespace quillora::platform
